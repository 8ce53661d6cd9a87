// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef MONITORNETWORK_H
#define MONITORNETWORK_H

#include <syncstatus/syncstatus_export.h>

#include <QObject>
#include <QScopedPointer>

class MonitorNetworkPrivate;

/// Tells whether the machine is online. It asks NetworkManager once, over the system D-Bus, and
/// then follows NetworkManager's signal `StateChanged`.
///
/// \code
/// MonitorNetwork *monitor = MonitorNetwork::getInstance();
/// QObject::connect(monitor, &MonitorNetwork::networkStateChange, qApp, [] { qInfo("online"); });
/// if (monitor->getNetworkState())
///     qInfo("online already");
/// \endcode
///
/// **It reports gains only.** The answer never goes back to false, and networkStateChange() always
/// carries true: no news does not mean "offline".
///
/// - Threads: the monitor lives in the thread that first calls getInstance(), which needs an event
///   loop. Call everything but getInstance() from that thread. Subscribers may live in any thread.
/// - Blocking: only the first getInstance(), for milliseconds, or 25 seconds for each D-Bus call
///   that NetworkManager does not answer.
/// - Failure: the answer is false. If NetworkManager is missing when the monitor is made, the
///   monitor stays silent for its life. It follows a NetworkManager that restarts later.
/// - Logging: warnings of the category "org.corvel.license.agent", each after "codestack: ".
///
/// What it asks: docs/architecture.md. Without a bus, or with a slow one: docs/robustness.md.
class SYNCSTATUS_EXPORT MonitorNetwork : public QObject
{
    Q_OBJECT

public:
    /// The process-wide monitor, made by the first call. Null once it is destroyed, which can be
    /// before other exit handlers run. It is not made again. Do not delete it.
    static MonitorNetwork *getInstance() noexcept;

    /// Evaluates connectivity, blocking, and subscribes to NetworkManager. Reserved for
    /// getInstance().
    explicit MonitorNetwork(QObject *parent);
    ~MonitorNetwork() override;

    /// Whether NetworkManager has reported global connectivity at any time so far. Does not block.
    /// Logs "getNetworkState:" with the answer and a newline.
    bool getNetworkState() noexcept;

Q_SIGNALS:
    /// NetworkManager has reported global connectivity (NM_STATE_CONNECTED_GLOBAL, 70), for the
    /// first time or again. \a isConnected is always true. Emitted in the monitor's thread.
    void networkStateChange(bool isConnected);

private Q_SLOTS:
    void onStateChanged(quint32 state);

private:
    Q_DECLARE_PRIVATE(MonitorNetwork)
    Q_DISABLE_COPY(MonitorNetwork)

    QScopedPointer<MonitorNetworkPrivate> d_ptr;
};

#endif
