// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"
#include "fakenetworkmanager.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "patience.h"
#include "privatebus.h"
#include "standin.h"
#include "subscriber.h"
#include "testprogram.h"

#include <syncstatus/monitornetwork.h>

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <mutex>
#include <utility>

// The program has no headers of libdbus.
extern "C" {
const char *dbus_message_get_destination(void *message);
const char *dbus_message_get_member(void *message);
}

namespace {

constexpr int shortTimeout = 200; // milliseconds

// What happens at this process's calls of NetworkManager, and what has happened.
struct Interception
{
    FakeNetworkManager *networkManager = nullptr;
    QByteArray member; // of the calls that are counted
    int callsBefore = 0;
    int unanswered = 0;
    int otherTimeouts = 0; // than libdbus's own
};

std::mutex mutex; // calls are sent by Qt's thread as well
// Nothing is intercepted before main().
Interception interception; // clazy:exclude=non-pod-global-static

// Lets \a callsBefore calls of \a member pass. At the next one NetworkManager hangs, and libdbus's
// time-out of 25 seconds is shortened from then on.
void hangAt(FakeNetworkManager *networkManager, const QByteArray &member, int callsBefore)
{
    const std::lock_guard lock(mutex);
    interception = {networkManager, member, callsBefore, 0, 0};
}

Interception endInterception()
{
    const std::lock_guard lock(mutex);
    return std::exchange(interception, {});
}

int timeoutOf(void *message, int timeout)
{
    static auto *const getDestination = NEXT(dbus_message_get_destination);
    static auto *const getMember = NEXT(dbus_message_get_member);
    const std::lock_guard lock(mutex);
    if (!interception.networkManager ||
        qstrcmp(getDestination(message), "org.freedesktop.NetworkManager") != 0)
        return timeout;
    if (interception.unanswered == 0) {
        if (getMember(message) != interception.member || interception.callsBefore-- > 0)
            return timeout;
        interception.networkManager->setResponsive(false);
    }
    ++interception.unanswered;
    if (timeout != -1)
        ++interception.otherTimeouts;
    return shortTimeout;
}

// The lines of a monitor that finds this connection, devices in these states, and no answer to the
// call of "state".
QStringList linesOf(const QString &connection, const QVector<quint32> &states)
{
    QStringList lines(primaryLine(connection));
    for (int number = 1; number <= states.size(); ++number)
        lines +=
            {deviceLine(FakeNetworkManager::devicePath(number)), stateLine(states.at(number - 1))};
    return lines + QStringList({errorLine(), answerLine(false)});
}

} // namespace

STANDIN int dbus_connection_send_with_reply(void *connection, void *message, void **pending,
                                            int timeout)
{
    static auto *const send = NEXT(dbus_connection_send_with_reply);
    return send(connection, message, pending, timeoutOf(message, timeout));
}

// A NetworkManager that is on the bus and does not answer, or late.
class TestMonitorBlocking : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void hungNetworkManagerCostsATimeoutForEachCall_data();
    void hungNetworkManagerCostsATimeoutForEachCall();
    void callIsGivenUpAfterTwentyFiveSeconds();
    void lateAnswersAreWaitedFor();

private:
    static void compareLines(QStringList written, const QStringList &lines, bool isSubscribed);
    static void compareLastCalls(BusMonitor &busMonitor, const QStringList &ends);
    void answerLate(MonitorNetwork &monitor, LogCapture &log, bool isSubscribed);

    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void TestMonitorBlocking::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
}

void TestMonitorBlocking::cleanup()
{
    m_networkManager.setResponsive(true); // a test that has failed may have left it hung
}

void TestMonitorBlocking::hungNetworkManagerCostsATimeoutForEachCall_data()
{
    QTest::addColumn<bool>("warnings");
    QTest::addColumn<QByteArray>("member");
    QTest::addColumn<int>("callsBefore");
    QTest::addColumn<QStringList>("unanswered");
    QTest::addColumn<QStringList>("lines");
    const QString introspect = QStringLiteral("Introspect");
    const QString primaryConnection = QStringLiteral("PrimaryConnection");
    const QString devices = QStringLiteral("Devices");
    const QString deviceState = QStringLiteral("State");
    const QString state = QStringLiteral("state");
    const QStringList noConnection = linesOf(QString(), {});
    const QString path = FakeNetworkManager::connectionPath();

    // This row is the first: Qt asks no more for an introspection that has been answered.
    QTest::newRow("introspection") << true << QByteArray("Introspect") << 0
                                   << QStringList({introspect, state}) << noConnection;
    QTest::newRow("primary connection") << true << QByteArray("Get") << 0
                                        << QStringList({primaryConnection, state}) << noConnection;
    QTest::newRow("devices") << true << QByteArray("Get") << 1 << QStringList({devices, state})
                             << linesOf(path, {});
    QTest::newRow("device states") << true << QByteArray("Get") << 2
                                   << QStringList({deviceState, deviceState, deviceState,
                                                   deviceState, deviceState, deviceState, state})
                                   << linesOf(path, {0, 0, 0});
    QTest::newRow("device states without warnings")
        << false << QByteArray("Get") << 2
        << QStringList({deviceState, deviceState, deviceState, state}) << QStringList();
    QTest::newRow("last device state")
        << true << QByteArray("Get") << 6 << QStringList({deviceState, deviceState, state})
        << linesOf(path, {30, 30, 0});
}

void TestMonitorBlocking::hungNetworkManagerCostsATimeoutForEachCall()
{
    QFETCH(bool, warnings);
    QFETCH(QByteArray, member);
    QFETCH(int, callsBefore);
    QFETCH(QStringList, unanswered);
    QFETCH(QStringList, lines);
    m_networkManager.setConnectedDevices({30, 30, 100});
    m_networkManager.setState(70);
    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    QLoggingCategory::setFilterRules(
        QStringLiteral("org.corvel.license.agent.warning=%1").arg(QVariant(warnings).toString()));
    QScopedPointer<LogCapture> log(new LogCapture);
    hangAt(&m_networkManager, member, callsBefore);
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    const qint64 blocked = time.restart();
    QVERIFY(!monitor.getNetworkState());
    const qint64 blockedByQuestion = time.elapsed();
    const Interception seen = endInterception();
    if (seen.unanswered == 0)
        QSKIP("Qt's calls of libdbus cannot be intercepted here, so no time-out can be shortened");
    const bool isSubscribed = member != "Introspect";

    QCOMPARE(seen.unanswered, unanswered.size());
    QCOMPARE(seen.otherTimeouts, 0);
    QVERIFY(blocked >
            qint64(seen.unanswered) * shortTimeout * 9 / 10); // Qt's timers may be a bit early
    QVERIFY(blocked < 20000);                                 // no time-out of libdbus's own
    QVERIFY(blockedByQuestion < 5000); // it makes no call, on however busy a machine
    compareLines(log->takeLines(), lines, isSubscribed);
    compareLastCalls(busMonitor, unanswered);
    answerLate(monitor, *log, isSubscribed);
    log.reset();
    qInfo("blocked for %lld ms by %d time-outs of %d ms", blocked, seen.unanswered, shortTimeout);
}

// Without a subscription Qt writes a line about the signal first.
void TestMonitorBlocking::compareLines(QStringList written, const QStringList &lines,
                                       bool isSubscribed)
{
    if (!isSubscribed) {
        QVERIFY(written.first().startsWith(QLatin1String("warning default: QObject::connect: ")));
        written.removeFirst();
    }
    QCOMPARE(written, lines);
}

void TestMonitorBlocking::compareLastCalls(BusMonitor &busMonitor, const QStringList &ends)
{
    const QStringList calls = busMonitor.takeCalls(QDBusConnection::systemBus().baseService())
                                  .filter(QStringLiteral("org.freedesktop.NetworkManager /"));
    const QStringList last = calls.mid(calls.size() - ends.size());
    for (int i = 0; i < ends.size(); ++i)
        QVERIFY2(last.at(i).endsWith(ends.at(i)), qPrintable(last.at(i)));
}

// NetworkManager answers all calls when it goes on: a device is activated, the state is global
// connectivity. The answers come before the signals that it sends then, and too late.
void TestMonitorBlocking::answerLate(MonitorNetwork &monitor, LogCapture &log, bool isSubscribed)
{
    QLoggingCategory::setFilterRules(QString());
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    const Subscriber subscriber;
    m_networkManager.setResponsive(true);
    m_networkManager.emitStates({20});
    QTRY_COMPARE_WITH_TIMEOUT(subscriber.states, QVector<quint32>({20}), patience);
    QVERIFY(!monitor.getNetworkState());

    // Without a subscription the monitor never learns of a gain.
    m_networkManager.emitStates({70, 20});
    QTRY_COMPARE_WITH_TIMEOUT(subscriber.states, QVector<quint32>({20, 70, 20}), patience);
    QCOMPARE(changes.size(), isSubscribed ? 1 : 0);
    QCOMPARE(monitor.getNetworkState(), isSubscribed);
    QCOMPARE(log.takeLines(), isSubscribed
                                  ? QStringList({changeLine(20), answerLine(false), changeLine(70),
                                                 changeLine(20), answerLine(true)})
                                  : QStringList({answerLine(false), answerLine(false)}));
}

// In real time: this is the time that the documentation gives the caller.
void TestMonitorBlocking::callIsGivenUpAfterTwentyFiveSeconds()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
    m_networkManager.setAnswer(FakeNetworkManager::rootPath(), QStringLiteral("state"), QString(),
                               FakeNetworkManager::hang());
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    const qint64 blocked = time.elapsed();
    qInfo("blocked for %lld ms", blocked);
    QVERIFY(blocked > 22000); // Qt's timers may be a bit early
    QVERIFY(blocked < 50000); // that of one call, however busy the machine
    QVERIFY(!monitor.getNetworkState());

    // The answer, 70, comes when NetworkManager goes on.
    const Subscriber subscriber;
    m_networkManager.setResponsive(true);
    m_networkManager.emitStates({20});
    QTRY_COMPARE_WITH_TIMEOUT(subscriber.states, QVector<quint32>({20}), patience);
    QVERIFY(!monitor.getNetworkState());
}

void TestMonitorBlocking::lateAnswersAreWaitedFor()
{
    const QString wait = QStringLiteral("time.sleep(0.5)");
    const QString root = FakeNetworkManager::rootPath();
    const QString connection = FakeNetworkManager::connectionPath();
    const QString device = FakeNetworkManager::devicePath(1);
    m_networkManager.setConnectedDevices({30});
    m_networkManager.setState(70);
    m_networkManager.setAnswer(root, QStringLiteral("Introspect"), QString(), wait);
    m_networkManager.setAnswer(root, QStringLiteral("Get PrimaryConnection"), QString(), wait);
    m_networkManager.setAnswer(connection, QStringLiteral("Get Devices"), QString(), wait);
    m_networkManager.setAnswer(device, QStringLiteral("Get State"), QString(), wait);
    m_networkManager.setAnswer(root, QStringLiteral("state"), QString(), wait);
    LogCapture log;
    // The thread's event loop does not run meanwhile: a caller need not expect its own slots.
    bool eventLoopTurned = false;
    QTimer waiting;
    connect(&waiting, &QTimer::timeout, this, [&] { eventLoopTurned = true; });
    waiting.start(0);
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    const qint64 blocked = time.elapsed();
    QVERIFY(!eventLoopTurned);
    QVERIFY(monitor.getNetworkState());
    QCOMPARE(log.takeLines(), QStringList({primaryLine(connection), deviceLine(device),
                                           stateLine(30), answerLine(true)}));
    QVERIFY(blocked >= 3000); // "State" is read twice
    QVERIFY(blocked < 20000);
    QTRY_VERIFY_WITH_TIMEOUT(eventLoopTurned, patience);
}

SYNCSTATUS_ISOLATED_TEST(TestMonitorBlocking)

#include "tst_monitorblocking.moc"
