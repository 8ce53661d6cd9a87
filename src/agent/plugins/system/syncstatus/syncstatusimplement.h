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

    /// MonitorNetwork::getNetworkState(), or false after the monitor has been destroyed.
    Q_INVOKABLE bool getNetworkState() const;
    /// The process-wide monitor, or null after it has been destroyed. Connect to its signal
    /// `networkStateChange(bool)` by name. Do not delete it.
    Q_INVOKABLE QObject *networkMonitor() const;
};

} // namespace syncstatus::internal

#endif
