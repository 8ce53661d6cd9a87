// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "monitornetwork.h"

#include "activeconnectionproxy.h"
#include "agentlog.h"
#include "constants.h"
#include "deviceproxy.h"
#include "monitornetwork_p.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QList>
#include <QMetaProperty>
#include <QTextStream>

#include <dlfcn.h>

using syncstatus::constants::networkConnected;
using syncstatus::constants::networkDeviceConnected;

namespace {

// Qt keeps the names given to a proxy beyond the proxy's life, so they must not point into this
// library, which can be unloaded: QStringLiteral would.
QString networkManagerService()
{
    return QLatin1String("org.freedesktop.NetworkManager");
}

// QtDBus cannot be unloaded once it has been used: its thread, its events in the queues of other
// threads and its types in Qt's registry stay behind. In a host that does not link QtDBus itself it
// would go together with this library, so it is pinned. (QLibrary takes a tenth of a millisecond.)
void pinQtDBus()
{
    dlopen("libQt5DBus.so.5", RTLD_LAZY | RTLD_NODELETE);
}

} // namespace

Q_GLOBAL_STATIC_WITH_ARGS(MonitorNetwork, monitorNetwork, (nullptr))

MonitorNetworkPrivate::MonitorNetworkPrivate(MonitorNetwork *q)
    : networkManagerInterface(new QDBusInterface(
          networkManagerService(), QLatin1String("/org/freedesktop/NetworkManager"),
          QLatin1String("org.freedesktop.NetworkManager"), QDBusConnection::systemBus())),
      q_ptr(q)
{
    pinQtDBus();
}

void MonitorNetworkPrivate::currectNetworkState()
{
    networkState = false;

    const QString primaryConnection = getPrimaryConnection();
    if (!primaryConnection.isEmpty() && primaryConnection != QLatin1String("/")) {
        const QScopedPointer<ActiveConnectionProxy> connection(new ActiveConnectionProxy(
            networkManagerService(), primaryConnection, networkManagerInterface->connection()));
        const QList<QDBusObjectPath> devices = connection->devices();
        for (const QDBusObjectPath &path : devices) {
            qCWarning(ll_agent) << "codestack: "
                                << "device interface path:" << path.path();
            if (path.path().isEmpty())
                continue;
            const QScopedPointer<DeviceProxy> device(new DeviceProxy(
                networkManagerService(), path.path(), networkManagerInterface->connection()));
            // The line and the test each read the state for themselves. A state of another type
            // than NetworkManager's "u" is none, as a typed proxy has it, and counts as 0.
            qCWarning(ll_agent) << "codestack: "
                                << "current device network state:" << device->state();
            if (device->state() == networkDeviceConnected) {
                networkState = true;
                return;
            }
        }
    }

    const QDBusReply<quint32> reply = networkManagerInterface->call(QLatin1String("state"));
    if (reply.isValid() && reply.value() == networkConnected) {
        networkState = true;
    } else {
        // Also for a good answer that is less than global connectivity.
        qCWarning(ll_agent) << "codestack: "
                            << "get network state error!";
    }
}

QString MonitorNetworkPrivate::getPrimaryConnection()
{
    // Qt ends a process that reads a property whose declared type QtDBus does not know.
    QDBusObjectPath connection;
    const QMetaObject *interface = networkManagerInterface->metaObject();
    const QMetaProperty property =
        interface->property(interface->indexOfProperty("PrimaryConnection"));
    if (property.userType() == qMetaTypeId<QDBusObjectPath>())
        connection = property.read(networkManagerInterface.data()).value<QDBusObjectPath>();
    qCWarning(ll_agent) << "codestack: "
                        << "get primary connection path:" << connection.path();
    return connection.path();
}

MonitorNetwork *MonitorNetwork::getInstance() noexcept
{
    return monitorNetwork();
}

MonitorNetwork::MonitorNetwork(QObject *parent)
    : QObject(parent), d_ptr(new MonitorNetworkPrivate(this))
{
    Q_D(MonitorNetwork);
    // By signature: the proxy has the signal at run time only. Subscribing before evaluating loses
    // no change in between.
    connect(d->networkManagerInterface.data(),
            SIGNAL(StateChanged(quint32)), // clazy:exclude=old-style-connect
            this, SLOT(onStateChanged(quint32)));
    d->currectNetworkState();
}

MonitorNetwork::~MonitorNetwork() = default;

bool MonitorNetwork::getNetworkState() noexcept
{
    Q_D(MonitorNetwork);
#if QT_VERSION >= QT_VERSION_CHECK(5, 14, 0)
    using Qt::endl;
#endif
    qCWarning(ll_agent) << "codestack: "
                        << "getNetworkState:" << d->networkState << endl;
    return d->networkState;
}

void MonitorNetwork::onStateChanged(quint32 state)
{
    Q_D(MonitorNetwork);
    qCWarning(ll_agent) << "codestack: "
                        << "current network state is changed:" << state;
    // Only gains of connectivity are taken up: any other state leaves the flag as it is.
    if (state == networkConnected) {
        d->networkState = true;
        Q_EMIT networkStateChange(d->networkState);
    }
}
