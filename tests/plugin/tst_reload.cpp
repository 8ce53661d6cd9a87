// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Runs the host that loads and unloads the library a hundred times: with and without
// AddressSanitizer, with and without the monitor.

#include "fakenetworkmanager.h"
#include "privatebus.h"
#include "testprogram.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QTest>

#include <functional>

namespace {

enum Surroundings { Nothing, Bus, NetworkManager, BusyNetworkManager };

} // namespace

Q_DECLARE_METATYPE(Surroundings)

class TestReload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesNothingBehind_data();
    void leavesNothingBehind();

private:
    static void start(QProcess &host, const QString &program, const QStringList &arguments);
    static void waitForEnd(QProcess &host, const std::function<void()> &meanwhile);
};

void TestReload::leavesNothingBehind_data()
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

void TestReload::leavesNothingBehind()
{
    QFETCH(QString, host);
    QFETCH(Surroundings, surroundings);
    QFETCH(QByteArray, answer);
#ifndef RELOAD_HOST_ASAN
    if (host.isEmpty())
        QSKIP(NO_RELOAD_HOST_ASAN);
#endif
    constexpr int cycles = 100;
    // A leak in each cycle comes to more than a KiB, however small it is. Under traffic, QtDBus's
    // queues and tables reach their full size late and in steps.
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

    QStringList arguments{QStringLiteral(SYNCSTATUS_PLUGIN_FILE), QString::number(cycles),
                          QString::number(tolerance)};
    if (!answer.isNull())
        arguments += QStringLiteral("monitor");
    QProcess process;
    start(process, host, arguments);
    waitForEnd(process, [&] {
        // State changes arrive all the time: before, during and after the monitor's destruction.
        if (surroundings == BusyNetworkManager)
            networkManager.emitStates({70, 20, 70});
    });
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(process.readAllStandardOutput(), answer.repeated(cycles));
}

void TestReload::start(QProcess &host, const QString &program, const QStringList &arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Otherwise the C library keeps freed memory for each thread, and it counts as in use.
    environment.insert(QStringLiteral("GLIBC_TUNABLES"),
                       QStringLiteral("glibc.malloc.tcache_count=0"));
    host.setProcessEnvironment(environment);
    host.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    host.start(program, arguments);
    QVERIFY2(host.waitForStarted(), qPrintable(host.errorString()));
}

void TestReload::waitForEnd(QProcess &host, const std::function<void()> &meanwhile)
{
    // It takes seconds as a rule. QtTest ends the whole program after five minutes.
    const QDeadlineTimer deadline(240000);
    while (!host.waitForFinished(20) && host.state() == QProcess::Running) {
        if (deadline.hasExpired()) {
            host.kill();
            host.waitForFinished();
            QFAIL("the host does not end");
        }
        meanwhile();
    }
}

SYNCSTATUS_TEST(TestReload)

#include "tst_reload.moc"
