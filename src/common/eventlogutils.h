// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef EVENTLOGUTILS_H
#define EVENTLOGUTILS_H

#include <syncstatus/syncstatus_export.h>

#include <QtGlobal>

#include <string>

/// The process's way into the platform's event log, for event records, not diagnostic lines.
///
/// The platform's library, "/usr/lib64/libcorvel-event-log.so", is loaded at run time by the first
/// get(). Where it is missing, cannot be loaded or lacks an entry point, everything here still
/// works and what needs the missing part does nothing. That is settled once for the life of the
/// process: a library that is installed later is not picked up, and one that could not be loaded
/// because the process had no file descriptor or memory left stays out. Make the first call early.
///
/// Two entry points are used, each if it is there. They may return nothing or a scalar (a number, a
/// boolean, a pointer), which is not looked at; a class would need a place to be returned in:
/// "Initialize", a function of the application's name (`std::string &`) and a boolean, and
/// "WriteEventLog", a function of the record (`const std::string &`). The platform's library must
/// therefore use the same `std::string` as this one (libstdc++'s, with the C++11 ABI setting that
/// this library was built with).
///
/// Logging: none, whatever is missing or fails. (Qt itself reports what it loads, and what it fails
/// to load, when the environment variable QT_DEBUG_PLUGINS is set.)
///
/// Threads: get() takes no lock; make its first call where no other can run at the same time, which
/// is the agent's main thread. initSync() and writeLogs() call the platform's library on the
/// caller's thread without a lock; whether it may be entered from several threads at once is that
/// library's business.
///
/// Blocking: the first get() for as long as the loading of the library takes; initSync() and
/// writeLogs() for as long as the platform's library takes.
class SYNCSTATUS_EXPORT EventLogUtils
{
public:
    /// The one object, made by the first call; never null, never destroyed, not the caller's to
    /// delete.
    static EventLogUtils *get() noexcept;

    /// Initialises the platform's library for synchronous writing: calls "Initialize" with the name
    /// under which the agent's events are filed, "org.corvel.license.agent" (the same as the
    /// logging category of the agent's diagnostic lines), and true. writeLogs() does not depend on
    /// it having been called.
    void initSync() noexcept;

    /// Hands one record to "WriteEventLog": the very object \a record, neither copied nor looked
    /// into; any bytes and any length. The platform expects a compact JSON object in UTF-8 with an
    /// integer "tid", the kind of event, and a string "version", the version of the record;
    /// composing it is the caller's business. A record that the platform refuses is lost without
    /// notice.
    void writeLogs(const std::string &record) noexcept;

private:
    EventLogUtils();
    Q_DISABLE_COPY(EventLogUtils)

    // Which scalar they return, if any, differs between platforms and is never looked at.
    using Initialize = void (*)(std::string &applicationName, bool synchronous);
    using WriteEventLog = void (*)(const std::string &record);

    Initialize m_initialize = nullptr;
    WriteEventLog m_writeEventLog = nullptr;

    static EventLogUtils *m_instance;
};

#endif
