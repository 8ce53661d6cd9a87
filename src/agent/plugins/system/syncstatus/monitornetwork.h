// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef MONITORNETWORK_H
#define MONITORNETWORK_H

#include <syncstatus/syncstatus_export.h>

#include <QObject>
#include <QScopedPointer>

class MonitorNetworkPrivate;

/// Tells whether the machine is online. It subscribes to NetworkManager's signal `StateChanged` on
/// the system D-Bus, and asks NetworkManager once.
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
/// - Blocking: only until the monitor is made, for milliseconds, or 25 seconds for each D-Bus call
///   that NetworkManager does not answer. A bus that ends meanwhile can block it for good.
/// - Failure: the answer is false. If NetworkManager does not answer its introspection when the
///   monitor is made, the monitor never announces anything. Otherwise it follows later restarts.
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

    /// Subscribes to NetworkManager and evaluates connectivity, blocking. Reserved for
    /// getInstance().
    explicit MonitorNetwork(QObject *parent);
    ~MonitorNetwork() override;

    /// Whether the monitor has seen connectivity: an activated device of the primary connection
    /// when it was made, or global connectivity then or since. Does not block. Logs
    /// "getNetworkState:" with the answer and a newline.
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
