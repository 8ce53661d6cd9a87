// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Runs the host that loads and unloads the library a hundred times, as it is and built with
// AddressSanitizer, without the monitor and with it.

#include "fakenetworkmanager.h"
#include "privatebus.h"

#include <QProcess>
#include <QScopedPointer>
#include <QTest>

class ReloadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesNothingBehind_data();
    void leavesNothingBehind();
};

void ReloadTest::leavesNothingBehind_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("withBus");
    QTest::addColumn<bool>("withNetworkManager");
    QTest::addColumn<QByteArray>("answer"); // null: the monitor is not made
    const QList<QPair<const char *, QString>> hosts{
        {"host", QStringLiteral(RELOAD_HOST)},
#ifdef RELOAD_HOST_ASAN
        {"host with AddressSanitizer", QStringLiteral(RELOAD_HOST_ASAN)},
#endif
    };
    for (const auto &host : hosts) {
        QTest::addRow("%s, no monitor", host.first) << host.second << true << false << QByteArray();
        QTest::addRow("%s, monitor, no bus", host.first)
            << host.second << false << false << QByteArray("offline\n");
        QTest::addRow("%s, monitor, no NetworkManager", host.first)
            << host.second << true << false << QByteArray("offline\n");
        QTest::addRow("%s, monitor, NetworkManager", host.first)
            << host.second << true << true << QByteArray("online\n");
    }
}

void ReloadTest::leavesNothingBehind()
{
    QFETCH(QString, host);
    QFETCH(bool, withBus);
    QFETCH(bool, withNetworkManager);
    QFETCH(QByteArray, answer);
    constexpr int cycles = 100;

    PrivateBus bus;
    FakeNetworkManager networkManager;
    if (withBus)
        QVERIFY(bus.start());
    else
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/system_bus_socket");
    if (withNetworkManager) {
        QVERIFY(networkManager.start());
        const QString path = QStringLiteral("/org/freedesktop/NetworkManager/Devices/%1");
        networkManager.addDevice(path.arg(1), 30);
        networkManager.addDevice(path.arg(2), 100);
        const QString connection =
            QStringLiteral("/org/freedesktop/NetworkManager/ActiveConnection/1");
        networkManager.addActiveConnection(connection, {path.arg(1), path.arg(2)});
        networkManager.setPrimaryConnection(connection);
    }

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Memory that the C library keeps at hand for each thread counts as in use.
    environment.insert(QStringLiteral("GLIBC_TUNABLES"),
                       QStringLiteral("glibc.malloc.tcache_count=0"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList arguments{QStringLiteral(SYNCSTATUS_PLUGIN_FILE), QString::number(cycles)};
    if (!answer.isNull())
        arguments += QStringLiteral("monitor");
    process.start(host, arguments);
    QVERIFY2(process.waitForStarted(), qPrintable(process.errorString()));
    while (!process.waitForFinished(20) && process.state() == QProcess::Running) {
        // State changes arrive all the time: while the monitor is there, while it goes, after it.
        if (withNetworkManager)
            networkManager.emitStates({70, 20, 70});
    }
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(process.readAllStandardOutput(), answer.repeated(cycles));
}

QTEST_GUILESS_MAIN(ReloadTest)

#include "tst_reload.moc"
