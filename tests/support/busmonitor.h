// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef BUSMONITOR_H
#define BUSMONITOR_H

#include "childprocess.h"

#include <QDBusConnection>
#include <QStringList>

/// Sees every method call that passes the bus named by DBUS_SYSTEM_BUS_ADDRESS (dbus-monitor).
class BusMonitor
{
public:
    BusMonitor();
    ~BusMonitor();
    Q_DISABLE_COPY(BusMonitor)

    /// Returns whether all calls from now on are seen.
    bool start();

    /// The calls that the client \a sender has made since the last take, oldest first, each as
    /// "destination path interface.member" and the string arguments, blanks between.
    /// \a sender is a unique name, as QDBusConnection::baseService() gives it.
    QStringList takeCalls(const QString &sender);

private:
    ChildProcess m_process;
    QDBusConnection m_connection;
};

#endif
