// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "eventlogutils.h"

#include <QLibrary>
#include <QString>

// Not a QStringLiteral, whose text lies in this library: Qt keeps the name while the platform's
// library is loaded, which can be longer.
static const QString eventLogLibraryPath = QString::fromLatin1("/usr/lib64/libcorvel-event-log.so");

EventLogUtils *EventLogUtils::m_instance = nullptr;

EventLogUtils *EventLogUtils::get() noexcept
{
    // Not guarded: the first call is on the main thread. Never freed: the platform's functions are
    // valid until the process ends.
    if (!m_instance) // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new): ends the process
        m_instance = new EventLogUtils;
    return m_instance;
}

EventLogUtils::EventLogUtils()
{
    // The destructor of QLibrary does not unload the library.
    QLibrary library(eventLogLibraryPath);
    if (!library.load())
        return;
    m_initialize = reinterpret_cast<Initialize>(library.resolve("Initialize"));
    m_writeEventLog = reinterpret_cast<WriteEventLog>(library.resolve("WriteEventLog"));
}

void EventLogUtils::initSync() noexcept
{
    if (!m_initialize)
        return;
    std::string applicationName("org.corvel.license.agent");
    m_initialize(applicationName, true);
}

void EventLogUtils::writeLogs(const std::string &record) noexcept
{
    if (m_writeEventLog)
        m_writeEventLog(record);
}
