// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"
#include "fakenetworkmanager.h"
#include "isolatedtest.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "patience.h"
#include "privatebus.h"
#include "subscriber.h"

#include <syncstatus/monitornetwork.h>

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <dlfcn.h>

#include <mutex>
#include <utility>

namespace {

constexpr int shortTimeout = 200; // milliseconds

// What is to happen at this process's calls of NetworkManager, and what did.
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

// NetworkManager hangs from the moment when the call of \a member is sent that \a callsBefore calls
// of it came before. libdbus's time-out of 25 seconds is shortened from then on.
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

template <typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

int timeoutOf(void *message, int timeout)
{
    static auto *const getDestination = next<const char *(void *)>("dbus_message_get_destination");
    static auto *const getMember = next<const char *(void *)>("dbus_message_get_member");
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

} // namespace

// Stands before libdbus's own, for Qt as well.
extern "C" __attribute__((visibility("default"))) int
dbus_connection_send_with_reply(void *connection, void *message, void **pending, int timeout)
{
    static auto *const send =
        next<int(void *, void *, void **, int)>("dbus_connection_send_with_reply");
    return send(connection, message, pending, timeoutOf(message, timeout));
}

// A NetworkManager that is on the bus and does not answer, or late.
class tst_MonitorBlocking : public QObject
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
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void tst_MonitorBlocking::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
}

void tst_MonitorBlocking::cleanup()
{
    m_networkManager.setResponsive(true); // a test that has failed may have left it hung
}

void tst_MonitorBlocking::hungNetworkManagerCostsATimeoutForEachCall_data()
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
    const QString path = FakeNetworkManager::connectionPath();
    const QStringList offline({errorLine(), answerLine(false)});
    const auto walk = [](const QVector<quint32> &states) {
        QStringList lines;
        for (int number = 1; number <= states.size(); ++number)
            lines += {deviceLine(FakeNetworkManager::devicePath(number)),
                      stateLine(states.at(number - 1))};
        return lines;
    };

    // First of all, as Qt asks for the introspection no more when it has been answered.
    QTest::newRow("introspection")
        << true << QByteArray("Introspect") << 0 << QStringList({introspect, state})
        << QStringList(primaryLine(QString())) + offline;
    QTest::newRow("primary connection")
        << true << QByteArray("Get") << 0 << QStringList({primaryConnection, state})
        << QStringList(primaryLine(QString())) + offline;
    QTest::newRow("devices") << true << QByteArray("Get") << 1 << QStringList({devices, state})
                             << QStringList(primaryLine(path)) + offline;
    QTest::newRow("device states") << true << QByteArray("Get") << 2
                                   << QStringList({deviceState, deviceState, deviceState,
                                                   deviceState, deviceState, deviceState, state})
                                   << QStringList(primaryLine(path)) + walk({0, 0, 0}) + offline;
    QTest::newRow("device states without warnings")
        << false << QByteArray("Get") << 2
        << QStringList({deviceState, deviceState, deviceState, state}) << QStringList();
    QTest::newRow("last device state")
        << true << QByteArray("Get") << 6 << QStringList({deviceState, deviceState, state})
        << QStringList(primaryLine(path)) + walk({30, 30, 0}) + offline;
}

void tst_MonitorBlocking::hungNetworkManagerCostsATimeoutForEachCall()
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
    const QString self = QDBusConnection::systemBus().baseService();
    QLoggingCategory::setFilterRules(
        QStringLiteral("org.corvel.license.agent.warning=%1").arg(QVariant(warnings).toString()));
    QScopedPointer<LogCapture> log(new LogCapture);
    QElapsedTimer time;
    hangAt(&m_networkManager, member, callsBefore);
    time.start();
    MonitorNetwork monitor(nullptr);
    const qint64 blocked = time.restart();
    QVERIFY(!monitor.getNetworkState());
    const qint64 blockedByQuestion = time.elapsed();
    const Interception seen = endInterception();
    if (seen.unanswered == 0)
        QSKIP("Qt's calls of libdbus cannot be intercepted here, so no time-out can be shortened");

    QCOMPARE(seen.unanswered, unanswered.size());
    QCOMPARE(seen.otherTimeouts, 0);
    QVERIFY(blocked >
            qint64(seen.unanswered) * shortTimeout * 9 / 10); // Qt's timers may be a bit early
    QVERIFY(blocked < 20000);                                 // no time-out of libdbus's own
    QVERIFY(blockedByQuestion < 5000); // it makes no call, on however busy a machine
    const bool isSubscribed = member != "Introspect";
    QStringList written = log->takeLines();
    if (!isSubscribed) { // Qt says so itself
        QVERIFY(written.first().startsWith(QLatin1String("warning default: QObject::connect: ")));
        written.removeFirst();
    }
    QCOMPARE(written, lines);
    const QStringList calls =
        busMonitor.takeCalls(self).filter(QStringLiteral("org.freedesktop.NetworkManager /"));
    const QStringList last = calls.mid(calls.size() - unanswered.size());
    for (int i = 0; i < unanswered.size(); ++i)
        QVERIFY2(last.at(i).endsWith(unanswered.at(i)), qPrintable(last.at(i)));

    // When it comes to, it answers all of them, and says that a device is activated and that it has
    // global connectivity. What it sends afterwards has them before it.
    QLoggingCategory::setFilterRules(QString());
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    const Subscriber subscriber;
    m_networkManager.setResponsive(true);
    m_networkManager.emitStates({20});
    QTRY_COMPARE_WITH_TIMEOUT(subscriber.states, QVector<quint32>({20}), patience);
    QVERIFY(!monitor.getNetworkState());

    // Who has not been told of the signal never knows.
    m_networkManager.emitStates({70, 20});
    QTRY_COMPARE_WITH_TIMEOUT(subscriber.states, QVector<quint32>({20, 70, 20}), patience);
    QCOMPARE(changes.size(), isSubscribed ? 1 : 0);
    QCOMPARE(monitor.getNetworkState(), isSubscribed);
    QCOMPARE(log->takeLines(), isSubscribed
                                   ? QStringList({changeLine(20), answerLine(false), changeLine(70),
                                                  changeLine(20), answerLine(true)})
                                   : QStringList({answerLine(false), answerLine(false)}));
    log.reset();
    qInfo("blocked for %lld ms by %d time-outs of %d ms", blocked, seen.unanswered, shortTimeout);
}

// In real time, because this is the figure that is promised to the caller.
void tst_MonitorBlocking::callIsGivenUpAfterTwentyFiveSeconds()
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

    // The answer, 70, comes when NetworkManager comes to.
    const Subscriber subscriber;
    m_networkManager.setResponsive(true);
    m_networkManager.emitStates({20});
    QTRY_COMPARE_WITH_TIMEOUT(subscriber.states, QVector<quint32>({20}), patience);
    QVERIFY(!monitor.getNetworkState());
}

void tst_MonitorBlocking::lateAnswersAreWaitedFor()
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
    // Nothing else of the thread runs in the meantime: who asks for the monitor need not expect it.
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

ISOLATED_TEST_MAIN(tst_MonitorBlocking)

#include "tst_monitorblocking.moc"
