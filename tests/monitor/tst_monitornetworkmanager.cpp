// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "patience.h"
#include "testprogram.h"
#include "uplink.h"

#include <syncstatus/monitornetwork.h>

#include <QProcess>
#include <QSignalSpy>
#include <QTest>

// The monitor beside a real NetworkManager, in scripts/sandbox.
class TestMonitorNetworkManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void isOnlineWithTheUplinkUp();
    void isOfflineWithTheUplinkDown();
    void everyReturnOfTheUplinkIsAnnounced();
    void restartedNetworkManagerIsFollowed();
    void restartWhileOnlineKeepsTheFlagAndIsFollowed();
    void asksTheSameCallsOfTheRealOne();

private:
    static bool control(const QString &operation);
    static QStringList takeCalls(BusMonitor &busMonitor);
};

void TestMonitorNetworkManager::initTestCase()
{
    if (!isInSandbox())
        QSKIP("to be run by scripts/sandbox");
}

bool TestMonitorNetworkManager::control(const QString &operation)
{
    return QProcess::execute(QString::fromLocal8Bit(qgetenv("SYNCSTATUS_SANDBOX_NETWORKMANAGER")),
                             {operation}) == 0;
}

// Returns this process's calls of NetworkManager.
QStringList TestMonitorNetworkManager::takeCalls(BusMonitor &busMonitor)
{
    return busMonitor.takeCalls(QDBusConnection::systemBus().baseService())
        .filter(QStringLiteral("org.freedesktop.NetworkManager /"));
}

void TestMonitorNetworkManager::init()
{
    QVERIFY(setUplink(true));
}

void TestMonitorNetworkManager::isOnlineWithTheUplinkUp()
{
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    QVERIFY(monitor.getNetworkState());
    const QStringList lines = log.takeLines();
    QCOMPARE(lines.size(), 4);
    QVERIFY(lines.at(0).contains(QLatin1String("\"/org/freedesktop/NetworkManager/ActiveConn")));
    QVERIFY(lines.at(1).contains(QLatin1String("\"/org/freedesktop/NetworkManager/Devices/")));
    QCOMPARE(lines.at(2), stateLine(100));
    QCOMPARE(lines.at(3), answerLine(true));
}

void TestMonitorNetworkManager::isOfflineWithTheUplinkDown()
{
    QVERIFY(setUplink(false));
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    QVERIFY(!monitor.getNetworkState());
    QCOMPARE(log.takeLines(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void TestMonitorNetworkManager::everyReturnOfTheUplinkIsAnnounced()
{
    QVERIFY(setUplink(false));
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    QVERIFY(!monitor.getNetworkState());
    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    QStringList lines;
    for (int times = 1; times <= 3; ++times) {
        QVERIFY(setUplink(true));
        QTRY_COMPARE_WITH_TIMEOUT(changes.size(), times, patience);
        QVERIFY(monitor.getNetworkState());

        QVERIFY(setUplink(false));
        QTRY_VERIFY_WITH_TIMEOUT((lines += log.takeLines()).last() == changeLine(20), patience);
        QVERIFY(monitor.getNetworkState());
    }
    QCOMPARE(changes.size(), 3);
    QCOMPARE(lines.count(changeLine(70)), 3);
    QCOMPARE(takeCalls(busMonitor), QStringList()); // no second evaluation
}

void TestMonitorNetworkManager::restartedNetworkManagerIsFollowed()
{
    QVERIFY(setUplink(false));
    MonitorNetwork monitor(nullptr);
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    QVERIFY(!monitor.getNetworkState());
    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    QVERIFY(control(QStringLiteral("stop")));
    QVERIFY(control(QStringLiteral("start")));
    QVERIFY(setUplink(true));
    QTRY_VERIFY_WITH_TIMEOUT(!changes.isEmpty(), patience);
    QVERIFY(monitor.getNetworkState());
    QCOMPARE(takeCalls(busMonitor), QStringList());
}

void TestMonitorNetworkManager::restartWhileOnlineKeepsTheFlagAndIsFollowed()
{
    MonitorNetwork monitor(nullptr);
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    QVERIFY(monitor.getNetworkState());
    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    for (int restart = 0; restart < 2; ++restart) {
        QVERIFY(control(QStringLiteral("stop")));
        QCoreApplication::processEvents();
        QVERIFY(monitor.getNetworkState());
        const int before = changes.size();
        QVERIFY(control(QStringLiteral("start")));
        QVERIFY(setUplink(true));
        QTRY_VERIFY_WITH_TIMEOUT(changes.size() > before, patience);
        QVERIFY(monitor.getNetworkState());
    }
    QCOMPARE(takeCalls(busMonitor), QStringList());
}

void TestMonitorNetworkManager::asksTheSameCallsOfTheRealOne()
{
    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    const QStringList calls = takeCalls(busMonitor);
    QCOMPARE(calls.size(), 5);
    QVERIFY(calls.at(0).endsWith(QLatin1String(".Introspect")));
    QVERIFY(calls.at(1).endsWith(QLatin1String(" PrimaryConnection")));
    QVERIFY(calls.at(2).endsWith(QLatin1String(" Devices")));
    QVERIFY(calls.at(3).endsWith(QLatin1String(" State")));
    QCOMPARE(calls.at(4), calls.at(3));
}

SYNCSTATUS_ISOLATED_TEST(TestMonitorNetworkManager)

#include "tst_monitornetworkmanager.moc"
