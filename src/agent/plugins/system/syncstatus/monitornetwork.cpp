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

// Not a QStringLiteral, whose text lies in this library: Qt keeps a proxy's names for longer than
// the proxy, and the library can be unloaded.
QString networkManagerService()
{
    return QLatin1String("org.freedesktop.NetworkManager");
}

// QtDBus cannot be unloaded after its first use: it leaves a thread, events in the queues of other
// threads, and types in Qt's registry. A host that does not link QtDBus would unload it together
// with this library, so this keeps it loaded. (QLibrary takes 0.1 ms longer.)
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
            // Deliberately two reads, one for the line and one for the test. A value of another
            // type than NetworkManager's "u" counts as 0.
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
        // Deliberately also for a valid answer of less than global connectivity.
        qCWarning(ll_agent) << "codestack: "
                            << "get network state error!";
    }
}

QString MonitorNetworkPrivate::getPrimaryConnection()
{
    // To read a property whose declared type QtDBus does not know would end the process.
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
    // By signature, because the proxy learns of the signal at run time. Subscribes before it
    // evaluates, so that no change between the two is lost.
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
    // Deliberately gains only: no other state changes the flag.
    if (state == networkConnected) {
        d->networkState = true;
        Q_EMIT networkStateChange(d->networkState);
    }
}
