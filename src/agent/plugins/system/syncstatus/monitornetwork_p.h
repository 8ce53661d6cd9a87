// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef MONITORNETWORK_P_H
#define MONITORNETWORK_P_H

#include "monitornetwork.h"

#include <QDBusInterface>
#include <QScopedPointer>

class MonitorNetworkPrivate
{
public:
    explicit MonitorNetworkPrivate(MonitorNetwork *q);

    /// Evaluates connectivity anew, blocking on D-Bus. The name's spelling is fixed.
    void currectNetworkState();
    /// The object path of the primary active connection, or empty if it cannot be read.
    QString getPrimaryConnection();

    QScopedPointer<QDBusInterface> networkManagerInterface;
    MonitorNetwork *q_ptr; // unused, part of the layout
    bool networkState = false;
};

#endif
