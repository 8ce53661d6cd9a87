// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"
#include "delivery.h"
#include "fakenetworkmanager.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "patience.h"
#include "privatebus.h"
#include "subscriber.h"
#include "testprogram.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

// The last state that a test emits: when its line is there, the monitor has dealt with everything
// that was sent before.
constexpr quint32 lastState = 1;

// A subscriber to the monitor that lives in another thread.
class Listener : public QObject
{
    Q_OBJECT

public:
    QVector<QThread *> threads;
    QVector<bool> values;

public Q_SLOTS:
    void onNetworkStateChange(bool isConnected)
    {
        threads += QThread::currentThread();
        values += isConnected;
    }
    void endThread() { thread()->quit(); }
};

// What a monitor does when NetworkManager sends signals, comes or goes.
class TestMonitorSignals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void gainSetsFlagAndIsAnnounced();
    void lineAndFlagComeBeforeTheAnnouncement();
    void lossChangesNothing();
    void everyReportOfGlobalConnectivityIsAnnounced();
    void unchangedReportsAreAnnouncedToo();
    void noOtherStateIsAnnounced();
    void tenThousandSignalsArrive();
    void noLinesWhileWarningsAreOff();
    void signalDuringConstructionIsNotLost();
    void subscriberInOtherThreadIsCalledThere();
    void forgedBroadcastIsIgnored();
    void forgedSignalToThisClientIsIgnored();
    void forgedSignalWhileNetworkManagerIsGoneIsIgnored();
    void signalOfOtherTypeIsIgnored_data();
    void signalOfOtherTypeIsIgnored();
    void signalOfOtherObjectIsIgnored();

    void absentAtConstructionIsOfflineForGood();
    void flagOutlivesNetworkManager();
    void gainsAreFollowedAfterRestart();

private:
    void makeMonitor(quint32 state);
    void forge(const QString &destination);
    bool waitForLastState();

    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
    QScopedPointer<LogCapture> m_log;
    QScopedPointer<MonitorNetwork> m_monitor;
    QScopedPointer<QSignalSpy> m_changes;
    QStringList m_lines;
};

void TestMonitorSignals::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
}

// A monitor that has found this global state.
void TestMonitorSignals::makeMonitor(quint32 state)
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(state);
    m_lines.clear();
    m_log.reset(); // one at a time
    m_log.reset(new LogCapture);
    m_monitor.reset(new MonitorNetwork(nullptr));
    m_changes.reset(new QSignalSpy(m_monitor.data(), &MonitorNetwork::networkStateChange));
    QVERIFY(Delivery::wait());
    m_log->take();
}

// Collects lines in m_lines until that of the last state.
bool TestMonitorSignals::waitForLastState()
{
    return QTest::qWaitFor(
        [this] {
            m_lines += m_log->takeLines();
            return !m_lines.isEmpty() && m_lines.last() == changeLine(lastState);
        },
        patience);
}

void TestMonitorSignals::gainSetsFlagAndIsAnnounced()
{
    makeMonitor(20);
    QVERIFY(!m_monitor->getNetworkState());
    m_log->take();

    m_networkManager.emitStates({70, lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(m_lines, QStringList({changeLine(70), changeLine(lastState)}));
    QCOMPARE(*m_changes, QList<QVariantList>({{true}}));
    QVERIFY(m_monitor->getNetworkState());
}

void TestMonitorSignals::lineAndFlagComeBeforeTheAnnouncement()
{
    makeMonitor(20);
    connect(m_monitor.data(), &MonitorNetwork::networkStateChange, this, [this] {
        m_monitor->getNetworkState();
        m_lines = m_log->takeLines();
    });
    m_networkManager.emitStates({70});
    QTRY_COMPARE_WITH_TIMEOUT(m_changes->size(), 1, patience);
    QCOMPARE(m_lines, QStringList({changeLine(70), answerLine(true)}));
}

void TestMonitorSignals::lossChangesNothing()
{
    makeMonitor(70);
    m_networkManager.emitStates({20, lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(m_lines, QStringList({changeLine(20), changeLine(lastState)}));
    QCOMPARE(m_changes->size(), 0);
    QVERIFY(m_monitor->getNetworkState());
    QCOMPARE(m_log->takeLines(), QStringList({answerLine(true)}));
}

void TestMonitorSignals::everyReportOfGlobalConnectivityIsAnnounced()
{
    makeMonitor(20);
    m_networkManager.emitStates({70, 20, 60, 70, lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(m_lines, QStringList({changeLine(70), changeLine(20), changeLine(60), changeLine(70),
                                   changeLine(lastState)}));
    QCOMPARE(*m_changes, QList<QVariantList>({{true}, {true}}));
    QVERIFY(m_monitor->getNetworkState());
}

void TestMonitorSignals::unchangedReportsAreAnnouncedToo()
{
    makeMonitor(70);
    m_networkManager.emitStates({70, 70, lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(*m_changes, QList<QVariantList>({{true}, {true}}));
}

void TestMonitorSignals::noOtherStateIsAnnounced()
{
    makeMonitor(20);
    m_networkManager.emitStates({0, 10, 20, 30, 40, 50, 60, 69, 71, 100, 4294967295, lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(m_lines.size(), 12);
    QCOMPARE(m_lines.at(10), changeLine(4294967295));
    QCOMPARE(m_changes->size(), 0);
    QVERIFY(!m_monitor->getNetworkState());
}

void TestMonitorSignals::tenThousandSignalsArrive()
{
    makeMonitor(20);
    m_networkManager.emitStates(QVector<quint32>(10000, 70));
    m_networkManager.emitStates({lastState});
    QVERIFY(QTest::qWaitFor([this] { return m_changes->size() >= 10000; }, patience));
    QVERIFY(waitForLastState());
    QCOMPARE(m_changes->size(), 10000);
    QCOMPARE(m_lines.count(changeLine(70)), 10000);
}

void TestMonitorSignals::noLinesWhileWarningsAreOff()
{
    makeMonitor(20);
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.warning=false"));
    m_networkManager.emitStates({20, 70});
    QTRY_COMPARE_WITH_TIMEOUT(m_changes->size(), 1, patience);
    QCOMPARE(m_log->takeLines(), QStringList());
}

void TestMonitorSignals::signalDuringConstructionIsNotLost()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    // The answer is 20, and the state becomes 70 while it is under way.
    m_networkManager.setMethod(QStringLiteral("state"), QStringLiteral("u"),
                               QStringLiteral("self.StateChanged(70); ret = 20"));
    m_log.reset(new LogCapture);
    MonitorNetwork monitor(nullptr);
    QVERIFY(!monitor.getNetworkState());
    QTRY_VERIFY_WITH_TIMEOUT(monitor.getNetworkState(), patience);
}

void TestMonitorSignals::subscriberInOtherThreadIsCalledThere()
{
    makeMonitor(20);
    QThread thread;
    Listener listener;
    listener.moveToThread(&thread);
    connect(m_monitor.data(), &MonitorNetwork::networkStateChange, &listener,
            &Listener::onNetworkStateChange);

    // The calls are queued until the other thread's event loop runs.
    m_networkManager.emitStates({70, 70, lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(m_changes->size(), 2);
    QCOMPARE(listener.values.size(), 0);

    thread.start();
    QMetaObject::invokeMethod(&listener, "endThread", Qt::QueuedConnection);
    thread.wait();
    QCOMPARE(listener.values, QVector<bool>({true, true}));
    QCOMPARE(listener.threads, QVector<QThread *>({&thread, &thread}));
}

// StateChanged(70) from a client that is not NetworkManager.
void TestMonitorSignals::forge(const QString &destination)
{
    const QString name = QStringLiteral("forger");
    QDBusConnection forger = QDBusConnection::connectToBus(m_bus.address(), name);
    QDBusMessage message = QDBusMessage::createTargetedSignal(
        destination, QStringLiteral("/org/freedesktop/NetworkManager"),
        QStringLiteral("org.freedesktop.NetworkManager"), QStringLiteral("StateChanged"));
    message.setArguments({70U});
    QVERIFY(forger.send(message));
    // When the bus answers, it has passed the signal on.
    QVERIFY(
        forger.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.DBus")).value());
    QDBusConnection::disconnectFromBus(name);
}

void TestMonitorSignals::forgedBroadcastIsIgnored()
{
    makeMonitor(20);
    const Subscriber gullible;
    forge(QString());
    m_networkManager.emitStates({lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(gullible.states, QVector<quint32>({70, lastState}));
    QCOMPARE(m_lines, QStringList({changeLine(lastState)}));
    QCOMPARE(m_changes->size(), 0);
    QVERIFY(!m_monitor->getNetworkState());
}

void TestMonitorSignals::forgedSignalToThisClientIsIgnored()
{
    makeMonitor(20);
    const Subscriber gullible;
    forge(QDBusConnection::systemBus().baseService());
    m_networkManager.emitStates({lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(gullible.states, QVector<quint32>({70, lastState}));
    QCOMPARE(m_lines, QStringList({changeLine(lastState)}));
    QCOMPARE(m_changes->size(), 0);
    QVERIFY(!m_monitor->getNetworkState());
}

void TestMonitorSignals::forgedSignalWhileNetworkManagerIsGoneIsIgnored()
{
    makeMonitor(20);
    const Subscriber gullible;
    m_networkManager.stop();
    forge(QDBusConnection::systemBus().baseService());
    QVERIFY(m_networkManager.start());
    m_networkManager.emitStates({lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(gullible.states, QVector<quint32>({70, lastState}));
    QCOMPARE(m_lines, QStringList({changeLine(lastState)}));
    QCOMPARE(m_changes->size(), 0);
}

void TestMonitorSignals::signalOfOtherTypeIsIgnored_data()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QVariantList>("values");
    const auto row = [](const char *name, const char *signature, const QVariantList &values) {
        QTest::newRow(name) << QString::fromLatin1(signature) << values;
    };
    row("signed", "i", {70});
    row("64 bits", "t", {70U});
    row("byte", "y", {70});
    row("floating point", "d", {70.0});
    row("string", "s", {QStringLiteral("70")});
    row("boolean", "b", {true});
    row("variant", "v", {70U});
    row("list", "au", {QVariant::fromValue(QList<uint>({70}))});
    row("structure", "(u)", {QVariant::fromValue(QList<uint>({70}))});
    row("two values", "uu", {70U, 70U});
    row("nothing", "", {});
}

void TestMonitorSignals::signalOfOtherTypeIsIgnored()
{
    QFETCH(QString, signature);
    QFETCH(QVariantList, values);
    makeMonitor(20);
    QElapsedTimer time;
    time.start();
    m_networkManager.emitSignal(FakeNetworkManager::rootPath(), signature, values);
    m_networkManager.emitStates({lastState});
    QVERIFY(waitForLastState());
    QVERIFY(time.elapsed() < 20000); // no call is made and given up
    QCOMPARE(m_lines, QStringList({changeLine(lastState)}));
    QCOMPARE(m_changes->size(), 0);
}

void TestMonitorSignals::signalOfOtherObjectIsIgnored()
{
    makeMonitor(20);
    m_networkManager.emitSignal(QStringLiteral("/org/freedesktop/NetworkManager/Devices/1"),
                                QStringLiteral("u"), {70U});
    m_networkManager.emitStates({lastState});
    QVERIFY(waitForLastState());
    QCOMPARE(m_lines, QStringList({changeLine(lastState)}));
    QCOMPARE(m_changes->size(), 0);
}

void TestMonitorSignals::absentAtConstructionIsOfflineForGood()
{
    m_networkManager.stop();
    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    QStringList lines = log.takeLines();
    QVERIFY(lines.first().startsWith(QLatin1String("warning default: QObject::connect: ")));
    lines.removeFirst(); // Qt's own, about the signal that it cannot find
    QCOMPARE(lines, QStringList({primaryLine(QString()), errorLine()}));

    const Subscriber subscriber(QStringLiteral("org.freedesktop.NetworkManager"));
    busMonitor.takeCalls(QDBusConnection::systemBus().baseService());

    QVERIFY(m_networkManager.start());
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(70);
    m_networkManager.emitStates({70});
    QTRY_COMPARE_WITH_TIMEOUT(subscriber.states, QVector<quint32>({70}), patience);
    QCOMPARE(log.takeLines(), QStringList());
    QCOMPARE(changes.size(), 0);
    QVERIFY(!monitor.getNetworkState());
    QCOMPARE(busMonitor.takeCalls(QDBusConnection::systemBus().baseService()), QStringList());
}

void TestMonitorSignals::flagOutlivesNetworkManager()
{
    makeMonitor(70);
    m_networkManager.stop();
    QTRY_VERIFY_WITH_TIMEOUT(!QDBusConnection::systemBus().interface()->isServiceRegistered(
                                 QStringLiteral("org.freedesktop.NetworkManager")),
                             patience);
    QCoreApplication::processEvents();
    QVERIFY(m_monitor->getNetworkState());
    QCOMPARE(m_log->takeLines(), QStringList({answerLine(true)}));

    QVERIFY(m_networkManager.start());
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(20);
    m_networkManager.emitStates({20, lastState});
    QVERIFY(waitForLastState());
    QVERIFY(m_monitor->getNetworkState());
    QCOMPARE(m_changes->size(), 0);
}

void TestMonitorSignals::gainsAreFollowedAfterRestart()
{
    makeMonitor(20);
    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    for (int restart = 0; restart < 3; ++restart) {
        m_changes->clear();
        m_lines.clear();
        m_networkManager.stop();
        QVERIFY(m_networkManager.start());
        m_networkManager.setConnectedDevices({100});
        m_networkManager.emitStates({20, 70, lastState});
        QVERIFY(waitForLastState());
        QCOMPARE(m_lines, QStringList({changeLine(20), changeLine(70), changeLine(lastState)}));
        QCOMPARE(*m_changes, QList<QVariantList>({{true}}));
    }
    // No second evaluation.
    QCOMPARE(busMonitor.takeCalls(QDBusConnection::systemBus().baseService()), QStringList());
}

SYNCSTATUS_ISOLATED_TEST(TestMonitorSignals)

#include "tst_monitorsignals.moc"
