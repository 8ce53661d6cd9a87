// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SYNCSTATUSIMPLEMENT_H
#define SYNCSTATUSIMPLEMENT_H

#include <QObject>

namespace syncstatus::internal {

/// What other plugins get from the agent's registry under the name "SyncStatus". They reach its two
/// operations through the meta-object, and so need not link this library. Both make the
/// process-wide monitor when they are the first to need it, which blocks on D-Bus (see
/// MonitorNetwork), and are to be called from the agent's main thread.
class SyncStatusImplement : public QObject
{
    Q_OBJECT

public:
    SyncStatusImplement();

    /// MonitorNetwork::getNetworkState(); false once the monitor is gone.
    Q_INVOKABLE bool getNetworkState() const;
    /// The process-wide monitor, to connect to its signal `networkStateChange(bool)` by name; null
    /// once it is gone. Not the caller's to delete.
    Q_INVOKABLE QObject *networkMonitor() const;
};

} // namespace syncstatus::internal

#endif
