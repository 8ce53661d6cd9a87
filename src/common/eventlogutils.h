// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef EVENTLOGUTILS_H
#define EVENTLOGUTILS_H

#include <syncstatus/syncstatus_export.h>

#include <QtGlobal>

#include <string>

/// Writes records to the platform's event log, through "/usr/lib64/libcorvel-event-log.so". If the
/// library or its function is missing, an operation does nothing.
///
/// \code
/// EventLogUtils::get()->initSync();
/// EventLogUtils::get()->writeLogs(R"({"tid":7,"version":"1.0"})");
/// \endcode
///
/// - Threads: the first get() in the main thread, beside no other. The other operations call the
///   platform's library in the caller's thread, without a lock.
/// - Blocking: the first get() while the library loads; the others as long as the library does.
/// - Failure: none is reported. The first get() decides whether the library is used from then on:
///   call it early. An exception from the library ends the process.
/// - Logging: none.
///
/// The platform's library must use the same std::string (libstdc++, C++11 ABI) as this one.
class SYNCSTATUS_EXPORT EventLogUtils
{
public:
    /// The one object, made by the first call. Never null, never destroyed. Do not delete it.
    static EventLogUtils *get() noexcept;

    /// Calls the library's "Initialize" for synchronous writing, with the name
    /// "org.corvel.license.agent" for the agent's events. writeLogs() does not need it.
    void initSync() noexcept;

    /// Passes \a record unchanged to the library's "WriteEventLog". The platform expects a compact
    /// JSON object in UTF-8 with an integer "tid", the kind of event, and a string "version". A
    /// record that the platform refuses is lost.
    void writeLogs(const std::string &record) noexcept;

private:
    EventLogUtils();
    Q_DISABLE_COPY(EventLogUtils)

    // Their result, void or a scalar, is ignored.
    using Initialize = void (*)(std::string &applicationName, bool synchronous);
    using WriteEventLog = void (*)(const std::string &record);

    Initialize m_initialize = nullptr;
    WriteEventLog m_writeEventLog = nullptr;

    static EventLogUtils *m_instance;
};

#endif
