// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "eventlogutils.h"

#include <QLibrary>
#include <QString>

// Qt keeps the name for as long as the platform's library is loaded, which is longer than this
// library may be: it must not be a literal.
static const QString eventLogLibraryPath = QString::fromLatin1("/usr/lib64/libcorvel-event-log.so");

EventLogUtils *EventLogUtils::m_instance = nullptr;

EventLogUtils *EventLogUtils::get() noexcept
{
    // Neither guarded nor ever freed: the first call is the main thread's, and the entry points are
    // good for as long as the process lives.
    if (!m_instance) // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new): ends the process
        m_instance = new EventLogUtils;
    return m_instance;
}

EventLogUtils::EventLogUtils()
{
    // Going out of scope does not unload the library, and nothing else does.
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
