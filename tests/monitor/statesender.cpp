// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A NetworkManager on the bus of DBUS_SYSTEM_BUS_ADDRESS. It is offline and sends signals as fast
// as the bus takes them. It writes "ready" when it is on the bus, and runs until it is killed.

#include "sentstate.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>

#include <csignal>
#include <cstdio>

namespace {

QString name()
{
    return QStringLiteral("org.freedesktop.NetworkManager");
}

QString path()
{
    return QStringLiteral("/org/freedesktop/NetworkManager");
}

// Returns when the bus has taken all that has been sent.
void waitForBus()
{
    QDBusConnection::systemBus().interface()->isServiceRegistered(name());
}

} // namespace

class NetworkManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.NetworkManager")
    Q_PROPERTY(QDBusObjectPath PrimaryConnection READ primaryConnection CONSTANT)

public:
    static QDBusObjectPath primaryConnection() { return QDBusObjectPath(QStringLiteral("/")); }

public Q_SLOTS:
    static quint32 state() { return 20; }

    /// Sends StateChanged \a count times and answers when the bus has them all. Unless \a stopAt is
    /// 0, the process stops itself after so many signals, until SIGCONT.
    static void send(int count, int stopAt);

Q_SIGNALS:
    // NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): moc names it otherwise
    void StateChanged(quint32 state);
};

void NetworkManager::send(int count, int stopAt)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    for (int number = 0; number < count; ++number) {
        if (number > 0 && number == stopAt) {
            waitForBus();
            raise(SIGSTOP);
        }
        QDBusMessage message =
            QDBusMessage::createSignal(path(), name(), QStringLiteral("StateChanged"));
        message.setArguments({sentState(number)});
        bus.send(message);
        if (number % 1000 == 999)
            waitForBus(); // or they would pile up here
    }
    waitForBus();
}

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    NetworkManager networkManager;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerObject(path(), &networkManager, QDBusConnection::ExportAllContents) ||
        !bus.registerService(name()))
        return 1;
    std::puts("ready");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

#include "statesender.moc"
