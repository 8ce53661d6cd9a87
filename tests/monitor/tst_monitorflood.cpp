// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "childprocess.h"
#include "delivery.h"
#include "patience.h"
#include "privatebus.h"
#include "sanitizers.h"
#include "sentstate.h"
#include "subscriber.h"
#include "testprogram.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QElapsedTimer>
#include <QFile>
#include <QScopedPointer>
#include <QTest>
#include <QTimer>

#include <malloc.h>
#include <sys/types.h>
#include <unistd.h>

#include <csignal>
#include <limits>

namespace {

#ifdef SANITIZED
constexpr bool isSanitized = true; // and slower, with an allocator that keeps what is freed
#else
constexpr bool isSanitized = false;
#endif
constexpr int flood = isSanitized ? 50000 : 1000000;

/// How long a test waits for a flood, in milliseconds. An idle machine needs about ten seconds.
constexpr int floodPatience = 600000;

// The monitor's lines about StateChanged are compared as they come: they are too many to keep.
int lines = 0;
bool areLinesRight = true;

void takeLine(QtMsgType level, const QMessageLogContext &context, const QString &text)
{
    static const QString answer = QStringLiteral("codestack:  getNetworkState: ");
    if (qstrcmp(context.category, "org.corvel.license.agent") != 0 || text.startsWith(answer))
        return;
    areLinesRight = areLinesRight && level == QtWarningMsg &&
                    text == QStringLiteral("codestack:  current network state is changed: ") +
                                QString::number(sentState(lines));
    ++lines;
}

/// The process's resident memory, in kB, without free memory that the allocator keeps.
qint64 residentMemory()
{
    malloc_trim(0);
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    return file.readAll().split(' ').at(1).toLongLong() * (sysconf(_SC_PAGESIZE) / 1024);
}

bool isStopped(qint64 processId)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(processId));
    return file.open(QIODevice::ReadOnly) && file.readAll().contains(") T ");
}

int gainsIn(int signalCount)
{
    return (signalCount + 2) / 3;
}

/// Measures how long the event loop takes from turn to turn.
class LoopWatch : public QObject
{
public:
    LoopWatch()
    {
        connect(&m_timer, &QTimer::timeout, this,
                [this] { m_longest = qMax(m_longest, m_time.restart()); });
        m_time.start();
        m_timer.start(1);
    }

    /// The longest time between two turns, in milliseconds.
    qint64 longest() const { return qMax(m_longest, m_time.elapsed()); }

private:
    QTimer m_timer;
    QElapsedTimer m_time;
    qint64 m_longest = 0;
};

} // namespace

/// Sees the end of the bus. libdbus reports it after everything that the bus has sent.
class BusWatch : public QObject
{
    Q_OBJECT

public:
    BusWatch()
    {
        QDBusConnection::systemBus().connect(
            QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
            QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
            SLOT(onDisconnected())); // clazy:exclude=old-style-connect
    }

    bool hasEnded = false;

public Q_SLOTS:
    void onDisconnected() { hasEnded = true; }
};

// A monitor whose NetworkManager sends more signals than a real one ever does.
class TestMonitorFlood : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void everySignalOfAMillionIsDealtWithInOrder();
    void signalsWaitForABusyThread();
    void hungNetworkManagerBlocksNobody();
    void signalsBeforeTheEndOfTheBusAreDealtWith();

private:
    QDBusPendingCall send(int count, int stopAt = 0);

    PrivateBus m_bus;
    ChildProcess m_networkManager;
    QDBusConnection m_control = QDBusConnection(QString());
    QScopedPointer<MonitorNetwork> m_monitor;
    int m_gains = 0;
    QtMessageHandler m_previousHandler = nullptr;
};

void TestMonitorFlood::initTestCase()
{
    if (isSanitized)
        qInfo("%d signals for a million: with a sanitizer each takes its time", flood);
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.startServer(QStringLiteral(STATE_SENDER), QStringList()));
    m_control = QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("control"));
    m_monitor.reset(new MonitorNetwork(nullptr));
    QVERIFY(!m_monitor->getNetworkState());
    QVERIFY(Delivery::wait());
    connect(m_monitor.data(), &MonitorNetwork::networkStateChange, this, [this](bool isConnected) {
        // The announcement comes after its line and before the next line.
        areLinesRight = areLinesRight && isConnected && sentState(lines - 1) == 70;
        ++m_gains;
    });
    m_previousHandler = qInstallMessageHandler(takeLine);
}

void TestMonitorFlood::cleanup()
{
    qInstallMessageHandler(m_previousHandler);
}

// Returns at once; the call is answered when the bus has all \a count signals.
QDBusPendingCall TestMonitorFlood::send(int count, int stopAt)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.NetworkManager"),
        QStringLiteral("/org/freedesktop/NetworkManager"),
        QStringLiteral("org.freedesktop.NetworkManager"), QStringLiteral("send"));
    message.setArguments({count, stopAt});
    return m_control.asyncCall(message, std::numeric_limits<int>::max());
}

void TestMonitorFlood::everySignalOfAMillionIsDealtWithInOrder()
{
    constexpr int warmUp = flood / 20;
    send(warmUp);
    QTRY_COMPARE_WITH_TIMEOUT(lines, warmUp, floodPatience);
    QCOMPARE(m_gains, gainsIn(warmUp));
    lines = 0;
    m_gains = 0;

    const qint64 memoryBefore = residentMemory();
    const LoopWatch loop;
    QElapsedTimer time;
    time.start();
    send(flood);
    QTRY_COMPARE_WITH_TIMEOUT(lines, flood, floodPatience);
    const qint64 elapsed = time.elapsed();
    QVERIFY(areLinesRight);
    QCOMPARE(m_gains, gainsIn(flood));
    QVERIFY(m_monitor->getNetworkState());
    const qint64 growth = residentMemory() - memoryBefore;
    cleanup();
    qInfo("%d signals in %lld ms; the event loop was kept from its turn for %lld ms at most; "
          "%lld kB more memory afterwards",
          flood, elapsed, loop.longest(), growth);
    QVERIFY(loop.longest() < 60000);
    if (!isSanitized)                  // where leaks are found otherwise
        QVERIFY(growth < 16 * 1024LL); // 16 bytes a signal, of which the smallest piece takes 32
}

// The event loop does not run meanwhile, so the signals wait in the event queue.
void TestMonitorFlood::signalsWaitForABusyThread()
{
    constexpr int count = flood / 10;
    const qint64 memoryBefore = residentMemory();
    send(count).waitForFinished();
    // The answer to a call on the monitor's connection comes after all signals.
    QCOMPARE(QDBusConnection::systemBus()
                 .call(QDBusMessage::createMethodCall(
                     QStringLiteral("org.freedesktop.NetworkManager"),
                     QStringLiteral("/org/freedesktop/NetworkManager"),
                     QStringLiteral("org.freedesktop.NetworkManager"), QStringLiteral("state")))
                 .arguments(),
             QVariantList{20U});
    const qint64 waiting = residentMemory() - memoryBefore;
    QCOMPARE(lines, 0);
    QElapsedTimer time;
    time.start();
    QVERIFY(!m_monitor->getNetworkState());
    QVERIFY(time.restart() < 5000);

    QTRY_COMPARE_WITH_TIMEOUT(lines, count, floodPatience);
    const qint64 elapsed = time.elapsed();
    QVERIFY(areLinesRight);
    QCOMPARE(m_gains, gainsIn(count));
    QVERIFY(m_monitor->getNetworkState());
    const qint64 growth = residentMemory() - memoryBefore;
    cleanup();
    qInfo("%d signals that waited took %lld kB of memory, %lld ms to deal with, and left %lld kB",
          count, waiting, elapsed, growth);
}

void TestMonitorFlood::hungNetworkManagerBlocksNobody()
{
    constexpr int count = flood / 10;
    constexpr int stopAt = count / 2;
    const QDBusPendingCall sent = send(count, stopAt);
    QTRY_COMPARE_WITH_TIMEOUT(lines, stopAt, floodPatience);
    // The signals may arrive before the process has stopped.
    QTRY_VERIFY_WITH_TIMEOUT(isStopped(m_networkManager.processId()), floodPatience);

    const LoopWatch loop;
    QElapsedTimer time;
    time.start();
    for (int question = 0; question < 1000; ++question) {
        QVERIFY(m_monitor->getNetworkState());
        QCoreApplication::processEvents();
    }
    const qint64 blocked = time.elapsed();
    QCOMPARE(lines, stopAt);
    QVERIFY(!sent.isFinished());
    QVERIFY(blocked < 20000); // not one of the questions waited for an answer
    QVERIFY(loop.longest() < 20000);

    ::kill(pid_t(m_networkManager.processId()), SIGCONT);
    QTRY_COMPARE_WITH_TIMEOUT(lines, count, floodPatience);
    QVERIFY(areLinesRight);
    QCOMPARE(m_gains, gainsIn(count));
    cleanup();
    qInfo("a thousand questions took %lld ms", blocked);
}

void TestMonitorFlood::signalsBeforeTheEndOfTheBusAreDealtWith()
{
    // It gets the same signals as the monitor, from the same connection.
    const Subscriber witness;
    const BusWatch bus;
    const LoopWatch loop;
    constexpr int count = 1000000; // more than can have come by then, however slow this process is
    send(count);
    QTRY_VERIFY_WITH_TIMEOUT(lines >= 10000, floodPatience);
    m_bus.kill();
    QTRY_VERIFY_WITH_TIMEOUT(bus.hasEnded, patience);
    cleanup();
    QCOMPARE(lines, witness.states.size());
    QVERIFY(lines < count);
    QVERIFY(areLinesRight);
    QCOMPARE(m_gains, gainsIn(lines));
    QVERIFY(m_monitor->getNetworkState());
    qInfo(
        "the bus ended after %d signals; the event loop was kept from its turn for %lld ms at most",
        lines, loop.longest());
    QVERIFY(loop.longest() < 20000);
}

SYNCSTATUS_ISOLATED_TEST(TestMonitorFlood)

#include "tst_monitorflood.moc"
