// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "fakenetworkmanager.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDebug>
#include <QTest>

#include <sys/types.h>

#include <csignal>

namespace {

QString service()
{
    return QStringLiteral("org.freedesktop.NetworkManager");
}

QString root()
{
    return QStringLiteral("/org/freedesktop/NetworkManager");
}

QString controlConnection()
{
    return QStringLiteral("fake NetworkManager");
}

} // namespace

FakeNetworkManager::FakeNetworkManager() : m_connection(QString())
{
    qDBusRegisterMetaType<QList<uint>>();
}

FakeNetworkManager::~FakeNetworkManager()
{
    stop();
    QDBusConnection::disconnectFromBus(controlConnection());
}

bool FakeNetworkManager::start()
{
    QDBusConnection::disconnectFromBus(controlConnection()); // it may be of a bus that has ended
    m_connection = QDBusConnection::connectToBus(
        QString::fromLocal8Bit(qgetenv("DBUS_SYSTEM_BUS_ADDRESS")), controlConnection());
    if (!m_connection.isConnected()) {
        qWarning() << m_connection.lastError();
        return false;
    }
    // The machine's own interpreter, whose modules the distribution's packages are.
    return m_process.startServer(QStringLiteral("/usr/bin/python3"),
                                 {QStringLiteral(FAKE_NETWORKMANAGER)});
}

void FakeNetworkManager::stop()
{
    m_process.stop();
}

void FakeNetworkManager::setResponsive(bool responsive)
{
    ::kill(pid_t(m_process.processId()), responsive ? SIGCONT : SIGSTOP);
}

void FakeNetworkManager::setState(quint32 state)
{
    setMethod(QStringLiteral("state"), QStringLiteral("u"), QStringLiteral("ret = %1").arg(state));
}

void FakeNetworkManager::setPrimaryConnection(const QString &path)
{
    setProperty(root(), service(), QStringLiteral("PrimaryConnection"),
                QVariant::fromValue(QDBusObjectPath(path)));
}

void FakeNetworkManager::addActiveConnection(const QString &path, const QStringList &devices)
{
    QList<QDBusObjectPath> paths;
    for (const QString &device : devices)
        paths.append(QDBusObjectPath(device));
    setProperty(path, QStringLiteral("org.freedesktop.NetworkManager.Connection.Active"),
                QStringLiteral("Devices"), QVariant::fromValue(paths));
}

void FakeNetworkManager::addDevice(const QString &path, quint32 state)
{
    setProperty(path, QStringLiteral("org.freedesktop.NetworkManager.Device"),
                QStringLiteral("State"), state);
}

void FakeNetworkManager::setConnectedDevices(const QVector<quint32> &states)
{
    QStringList paths;
    for (const quint32 state : states) {
        paths += devicePath(paths.size() + 1);
        addDevice(paths.last(), state);
    }
    addActiveConnection(connectionPath(), paths);
    setPrimaryConnection(connectionPath());
}

QString FakeNetworkManager::connectionPath()
{
    return root() + QLatin1String("/ActiveConnection/1");
}

QString FakeNetworkManager::devicePath(int number)
{
    return root() + QStringLiteral("/Devices/%1").arg(number);
}

void FakeNetworkManager::setProperty(const QString &path, const QString &interface,
                                     const QString &name, const QVariant &value)
{
    call(QStringLiteral("SetProperty"), {QVariant::fromValue(QDBusObjectPath(path)), interface,
                                         name, QVariant::fromValue(QDBusVariant(value))});
}

void FakeNetworkManager::setMethod(const QString &name, const QString &signature,
                                   const QString &code)
{
    call(QStringLiteral("AddMethod"), {service(), name, QString(), signature, code});
}

void FakeNetworkManager::setAnswer(const QString &path, const QString &call,
                                   const QString &signature, const QString &code)
{
    this->call(QStringLiteral("SetAnswer"),
               {QVariant::fromValue(QDBusObjectPath(path)), call, signature, code});
}

QString FakeNetworkManager::hang()
{
    return QStringLiteral("os.kill(os.getpid(), signal.SIGSTOP)");
}

QString FakeNetworkManager::rootPath()
{
    return root();
}

void FakeNetworkManager::emitStates(const QVector<quint32> &states)
{
    call(QStringLiteral("EmitStates"), {QVariant::fromValue(states.toList())});
}

void FakeNetworkManager::emitSignal(const QString &path, const QString &signature,
                                    const QVariantList &values)
{
    call(QStringLiteral("EmitStateChanged"),
         {QVariant::fromValue(QDBusObjectPath(path)), signature, QVariant(values)});
}

void FakeNetworkManager::call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        service(), root(), QStringLiteral("org.freedesktop.DBus.Mock"), method);
    message.setArguments(arguments);
    const QDBusMessage reply = m_connection.call(message);
    if (reply.type() == QDBusMessage::ErrorMessage)
        QTest::qFail(qPrintable(method + QLatin1String(": ") + reply.errorMessage()), __FILE__,
                     __LINE__);
}
