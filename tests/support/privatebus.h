// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef PRIVATEBUS_H
#define PRIVATEBUS_H

#include "childprocess.h"

#include <QTemporaryDir>

/// A D-Bus daemon of the test's own, as the system bus of this process and of those it starts. It
/// starts no services, lets everybody do everything, and reads nothing of the machine's
/// configuration.
class PrivateBus
{
public:
    PrivateBus() = default;
    Q_DISABLE_COPY(PrivateBus)

    /// Starts the bus and puts its address into DBUS_SYSTEM_BUS_ADDRESS. To be called before the
    /// process's first QDBusConnection::systemBus(), which is kept for the life of the process.
    /// After kill() it starts a new bus at the same address. Returns whether the bus answers.
    bool start();
    /// Ends the bus without a word to its clients.
    void kill();

    /// The address clients connect to; set by start().
    QString address() const;
    qint64 processId() const;

private:
    QTemporaryDir m_directory;
    ChildProcess m_daemon;
};

#endif
