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

    /// Evaluates connectivity from scratch, blocking on D-Bus.
    void currectNetworkState();
    /// The object path of the primary active connection; empty when it cannot be read.
    QString getPrimaryConnection();

    QScopedPointer<QDBusInterface> networkManagerInterface;
    MonitorNetwork *q_ptr;
    bool networkState = false;
};

#endif
