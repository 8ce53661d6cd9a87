// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "delivery.h"
#include "fakenetworkmanager.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "patience.h"
#include "privatebus.h"
#include "subscriber.h"
#include "testprogram.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

// A monitor that has no bus, or loses it.
class TestMonitorBusLoss : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentBusIsOffline();
    void flagSurvivesTheBus();
    void newBusIsNotFollowed();
    void monitorMadeAfterARestartOfTheBusIsOffline();
    void busThatEndsDuringConstructionIsOffline();
    void busThatEndsDuringConstructionBeforeTheEventLoopRunsBlocksForGood();
    void networkManagerThatDiesDuringConstructionIsOffline();

private:
    void makeBusEndAtState();

    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void TestMonitorBusLoss::absentBusIsOffline()
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/system_bus_socket");
    LogCapture log;
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    QVERIFY(time.elapsed() < 20000); // nothing is waited for
    QVERIFY(!monitor.getNetworkState());
    QStringList lines = log.takeLines();
    QVERIFY(lines.first().startsWith(QLatin1String("warning default: QObject::connect: ")));
    lines.removeFirst(); // Qt's own, about the signal that it cannot find
    QCOMPARE(lines, QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void TestMonitorBusLoss::flagSurvivesTheBus()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setConnectedDevices({100});
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    log.take();

    m_bus.kill();
    QTRY_VERIFY_WITH_TIMEOUT(!QDBusConnection::systemBus().isConnected(), patience);
    QElapsedTimer time;
    time.start();
    QVERIFY(monitor.getNetworkState());
    QVERIFY(time.elapsed() < 5000); // the bus is not asked
    QCOMPARE(log.takeLines(), QStringList({answerLine(true)}));
    QCOMPARE(changes.size(), 0);
}

void TestMonitorBusLoss::newBusIsNotFollowed()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    m_bus.kill();
    QTRY_VERIFY_WITH_TIMEOUT(!QDBusConnection::systemBus().isConnected(), patience);
    log.take();

    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(70);
    const QString name = QStringLiteral("witness");
    {
        const Subscriber witness(QString(), QDBusConnection::connectToBus(m_bus.address(), name));
        m_networkManager.emitStates({70});
        QTRY_COMPARE_WITH_TIMEOUT(witness.states, QVector<quint32>({70}), patience);
    }
    QDBusConnection::disconnectFromBus(name);
    QVERIFY(!QDBusConnection::systemBus().isConnected());
    QElapsedTimer time;
    time.start();
    QVERIFY(!monitor.getNetworkState());
    QVERIFY(time.elapsed() < 5000); // neither bus is asked
    QCOMPARE(log.takeLines(), QStringList({answerLine(false)}));
    QCOMPARE(changes.size(), 0);
}

void TestMonitorBusLoss::monitorMadeAfterARestartOfTheBusIsOffline()
{
    QVERIFY(m_bus.start());
    QVERIFY(QDBusConnection::systemBus().isConnected()); // Qt's one attempt, for this bus
    m_bus.kill();
    QTRY_VERIFY_WITH_TIMEOUT(!QDBusConnection::systemBus().isConnected(), patience);
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(70);

    LogCapture log;
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    QVERIFY(time.elapsed() < 20000); // nothing is waited for
    QVERIFY(!monitor.getNetworkState());
    QStringList lines = log.takeLines();
    QVERIFY(lines.first().startsWith(QLatin1String("warning default: QObject::connect: ")));
    lines.removeFirst(); // Qt's own, about the signal that it cannot find
    QCOMPARE(lines, QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

// NetworkManager ends the bus when it is asked for its state.
void TestMonitorBusLoss::makeBusEndAtState()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
    m_networkManager.setAnswer(
        FakeNetworkManager::rootPath(), QStringLiteral("state"), QString(),
        QStringLiteral("os.kill(%1, signal.SIGKILL)").arg(m_bus.processId()));
}

void TestMonitorBusLoss::busThatEndsDuringConstructionIsOffline()
{
    makeBusEndAtState();
    QVERIFY(Delivery::wait());
    LogCapture log;
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    QVERIFY(time.elapsed() < 20000); // no time-out is waited for
    QVERIFY(!monitor.getNetworkState());
    QCOMPARE(log.takeLines(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void TestMonitorBusLoss::busThatEndsDuringConstructionBeforeTheEventLoopRunsBlocksForGood()
{
    makeBusEndAtState();
    QProcess process; // which can be ended while it hangs
    process.start(QStringLiteral(MONITOR_AT_EXIT), QStringList());
    const bool hasReturned = process.waitForFinished(30000); // longer than libdbus's time-out
    if (!hasReturned) {
        QCOMPARE(process.state(), QProcess::Running);
        process.kill();
        process.waitForFinished();
        QEXPECT_FAIL("", "QtDBus 5.15 holds back the news that the bus has ended", Continue);
    }
    QVERIFY(hasReturned);
    // No line is wrong in either case.
    const QByteArray line = "org.corvel.license.agent: codestack:  get ";
    const QByteArray offline = line + "network state error!\n";
    QCOMPARE(process.readAllStandardError(),
             line + "primary connection path: \"/\"\n" + (hasReturned ? offline : QByteArray()));
}

void TestMonitorBusLoss::networkManagerThatDiesDuringConstructionIsOffline()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setConnectedDevices({30});
    m_networkManager.setMethod(QStringLiteral("state"), QStringLiteral("u"),
                               QStringLiteral("import os; os.kill(os.getpid(), 9)"));
    LogCapture log;
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    QVERIFY(time.elapsed() < 20000); // no time-out is waited for
    QVERIFY(!monitor.getNetworkState());
    QCOMPARE(log.takeLines(), QStringList({primaryLine(FakeNetworkManager::connectionPath()),
                                           deviceLine(FakeNetworkManager::devicePath(1)),
                                           stateLine(30), errorLine(), answerLine(false)}));
}

SYNCSTATUS_ISOLATED_TEST(TestMonitorBusLoss)

#include "tst_monitorbusloss.moc"
