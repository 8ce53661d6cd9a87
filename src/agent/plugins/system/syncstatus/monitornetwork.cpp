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
#include <QDir>
#include <QFile>
#include <QLibrary>
#include <QList>
#include <QTextStream>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>

using syncstatus::constants::networkConnected;
using syncstatus::constants::networkDeviceConnected;

namespace {

// Qt keeps the names given to a proxy beyond the proxy's life, so they must not point into this
// library, which can be unloaded: QStringLiteral would.
QString networkManagerService()
{
    return QLatin1String("org.freedesktop.NetworkManager");
}

// Whether QtDBus has its thread already. The thread's name tells; whatever asks QtDBus starts it.
bool hasQtDBusThread()
{
    const QDir threads(QLatin1String("/proc/self/task"));
    const QStringList ids = threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return std::any_of(ids.begin(), ids.end(), [&threads](const QString &id) {
        QFile name(threads.filePath(id + QLatin1String("/comm")));
        return name.open(QIODevice::ReadOnly) && name.readAll() == "QDBusConnection\n";
    });
}

// Looking takes a descriptor, so this thread makes room in a table of descriptors of its own.
void *lookWithoutDescriptor(void *isThere)
{
    if (unshare(CLONE_FILES) == 0)
        close(STDIN_FILENO);
    *static_cast<bool *>(isThere) = hasQtDBusThread();
    return nullptr;
}

void *doNothing(void *)
{
    return nullptr;
}

// The first use of QtDBus starts a thread, and Qt does not bear that it cannot: when there is no
// descriptor for the thread's event loop, the process is ended; when there is no thread to be had,
// the caller waits for it for ever. So both are tried out first. What is there may be taken by
// another thread before QtDBus has it; nothing helps against that.
bool canUseQtDBus()
{
    int ends[2]; // one descriptor is for the event loop, the other for the connection to the bus
    const bool areDescriptorsLeft = pipe2(ends, O_CLOEXEC) == 0;
    if (areDescriptorsLeft) {
        close(ends[0]);
        close(ends[1]);
    }
    bool isThere = false;
    pthread_t thread = {};
    if (pthread_create(&thread, nullptr, areDescriptorsLeft ? doNothing : lookWithoutDescriptor,
                       &isThere) != 0)
        return hasQtDBusThread();
    pthread_join(thread, nullptr);
    return areDescriptorsLeft || isThere;
}

// QtDBus cannot be unloaded once it has been used: its thread, its events in the queues of other
// threads and its types in Qt's registry stay behind. In a host that does not link QtDBus itself it
// would go together with this library, so it is pinned first.
QDBusConnection systemBus()
{
    QLibrary qtDBus(QLatin1String("Qt5DBus"), QT_VERSION_MAJOR);
    qtDBus.setLoadHints(QLibrary::PreventUnloadHint);
    qtDBus.load();
    // The latter is no connection, and leaves Qt's one attempt to connect to whoever comes next.
    return canUseQtDBus() ? QDBusConnection::systemBus() : QDBusConnection(QString());
}

} // namespace

Q_GLOBAL_STATIC_WITH_ARGS(MonitorNetwork, monitorNetwork, (nullptr))

MonitorNetworkPrivate::MonitorNetworkPrivate(MonitorNetwork *q)
    : networkManagerInterface(new QDBusInterface(
          networkManagerService(), QLatin1String("/org/freedesktop/NetworkManager"),
          QLatin1String("org.freedesktop.NetworkManager"), systemBus())),
      q_ptr(q)
{
}

void MonitorNetworkPrivate::currectNetworkState()
{
    networkState = false;

    const QString primaryConnection = getPrimaryConnection();
    if (!primaryConnection.isEmpty() && primaryConnection != QLatin1String("/")) {
        const QScopedPointer<ActiveConnectionProxy> connection(new ActiveConnectionProxy(
            networkManagerService(), primaryConnection, QDBusConnection::systemBus()));
        const QList<QDBusObjectPath> devices = connection->devices();
        for (const QDBusObjectPath &path : devices) {
            qCWarning(ll_agent) << "codestack: "
                                << "device interface path:" << path.path();
            if (path.path().isEmpty())
                continue;
            const QScopedPointer<DeviceProxy> device(new DeviceProxy(
                networkManagerService(), path.path(), QDBusConnection::systemBus()));
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
    const auto connection =
        networkManagerInterface->property("PrimaryConnection").value<QDBusObjectPath>();
    qCWarning(ll_agent) << "codestack: "
                        << "get primary connection path:" << connection.path();
    return connection.path();
}

MonitorNetwork *MonitorNetwork::getInstance()
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

bool MonitorNetwork::getNetworkState()
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
