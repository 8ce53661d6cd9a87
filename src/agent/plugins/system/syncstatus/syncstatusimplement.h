// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SYNCSTATUSIMPLEMENT_H
#define SYNCSTATUSIMPLEMENT_H

#include <QObject>

namespace syncstatus::internal {

/// The object "SyncStatus" of the agent's registry. Other plugins call its operations through the
/// meta-object, so they do not link this library.
///
/// The first call makes the process-wide monitor, which blocks on D-Bus: see MonitorNetwork. Call
/// both operations from the agent's main thread.
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
