// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Runs the host that loads and unloads the library a hundred times, as it is and built with
// AddressSanitizer, without the monitor and with it.

#include "fakenetworkmanager.h"
#include "privatebus.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QTest>

namespace {

enum Surroundings { Nothing, Bus, NetworkManager, BusyNetworkManager };

} // namespace

Q_DECLARE_METATYPE(Surroundings)

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
    QTest::addColumn<Surroundings>("surroundings");
    QTest::addColumn<QByteArray>("answer"); // null: the monitor is not made
    const QList<QPair<const char *, QString>> hosts{
        {"host", QStringLiteral(RELOAD_HOST)},
#ifdef RELOAD_HOST_ASAN
        {"host with AddressSanitizer", QStringLiteral(RELOAD_HOST_ASAN)},
#else
        {"host with AddressSanitizer", QString()},
#endif
    };
    for (const auto &host : hosts) {
        const auto addRow = [&host](const char *name, Surroundings surroundings,
                                    const QByteArray &answer) {
            QTest::addRow("%s, %s", host.first, name) << host.second << surroundings << answer;
        };
        addRow("no monitor", Bus, QByteArray());
        addRow("monitor, no bus", Nothing, "offline\n");
        addRow("monitor, no NetworkManager", Bus, "offline\n");
        addRow("monitor, NetworkManager", NetworkManager, "online\n");
        addRow("monitor, busy NetworkManager", BusyNetworkManager, "online\n");
    }
}

void ReloadTest::leavesNothingBehind()
{
    QFETCH(QString, host);
    QFETCH(Surroundings, surroundings);
    QFETCH(QByteArray, answer);
#ifndef RELOAD_HOST_ASAN
    if (host.isEmpty())
        QSKIP(NO_RELOAD_HOST_ASAN);
#endif
    constexpr int cycles = 100;
    // Of what repeats in each cycle, the smallest piece of memory there is comes to more than a
    // KiB. Under traffic, QtDBus's queues and tables reach their full size late and in steps.
    const int tolerance = surroundings == BusyNetworkManager ? 0x8000 : 0x400;

    PrivateBus bus;
    FakeNetworkManager networkManager;
    if (surroundings != Nothing)
        QVERIFY(bus.start());
    else
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/system_bus_socket");
    if (surroundings == NetworkManager || surroundings == BusyNetworkManager) {
        QVERIFY(networkManager.start());
        networkManager.setConnectedDevices({30, 100});
    }

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Memory that the C library keeps at hand for each thread counts as in use.
    environment.insert(QStringLiteral("GLIBC_TUNABLES"),
                       QStringLiteral("glibc.malloc.tcache_count=0"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList arguments{QStringLiteral(SYNCSTATUS_PLUGIN_FILE), QString::number(cycles),
                          QString::number(tolerance)};
    if (!answer.isNull())
        arguments += QStringLiteral("monitor");
    process.start(host, arguments);
    QVERIFY2(process.waitForStarted(), qPrintable(process.errorString()));
    // Seconds as a rule; with a margin for a slow machine, and before QtTest's own limit of five
    // minutes ends the whole program.
    const QDeadlineTimer deadline(240000);
    while (!process.waitForFinished(20) && process.state() == QProcess::Running) {
        if (deadline.hasExpired()) {
            process.kill();
            process.waitForFinished();
            QFAIL("the host does not end");
        }
        // State changes arrive all the time: while the monitor is there, while it goes, after it.
        if (surroundings == BusyNetworkManager)
            networkManager.emitStates({70, 20, 70});
    }
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(process.readAllStandardOutput(), answer.repeated(cycles));
}

QTEST_GUILESS_MAIN(ReloadTest)

#include "tst_reload.moc"
