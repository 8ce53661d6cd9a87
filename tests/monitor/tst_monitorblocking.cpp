// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"
#include "fakenetworkmanager.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "patience.h"
#include "privatebus.h"
#include "subscriber.h"

#include <syncstatus/monitornetwork.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <dlfcn.h>

#include <atomic>

namespace {

// Milliseconds in place of libdbus's own time-out of 25 seconds, when not -1.
std::atomic<int> shortTimeout{-1};
std::atomic<int> callsWithDefaultTimeout{0};
std::atomic<int> callsWithOtherTimeout{0};

} // namespace

// Stands before libdbus's own, for Qt as well; nothing of libdbus is looked into here.
extern "C" __attribute__((visibility("default"))) int
dbus_connection_send_with_reply(void *connection, void *message, void **pending, int timeout)
{
    using Function = int(void *, void *, void **, int);
    static auto *const send =
        reinterpret_cast<Function *>(dlsym(RTLD_NEXT, "dbus_connection_send_with_reply"));
    if (shortTimeout == -1)
        return send(connection, message, pending, timeout);
    ++(timeout == -1 ? callsWithDefaultTimeout : callsWithOtherTimeout);
    return send(connection, message, pending, shortTimeout);
}

// A NetworkManager that is on the bus and does not answer.
class tst_MonitorBlocking : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hungNetworkManagerCostsTwoTimeouts();

private:
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void tst_MonitorBlocking::hungNetworkManagerCostsTwoTimeouts()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
    BusMonitor busMonitor;
    QVERIFY(busMonitor.start());
    const QString self = QDBusConnection::systemBus().baseService();
    busMonitor.takeCalls(self);

    m_networkManager.setResponsive(false);
    constexpr int timeout = 200; // milliseconds
    shortTimeout = timeout;
    LogCapture log;
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    const qint64 elapsed = time.elapsed();
    shortTimeout = -1;
    if (callsWithDefaultTimeout == 0)
        QSKIP("Qt's calls of libdbus cannot be intercepted here, so no time-out can be shortened");
    // Qt's timers may be early by a twentieth.
    QVERIFY(elapsed > 3 * timeout / 2);
    QCOMPARE(callsWithOtherTimeout.load(), 0);
    QVERIFY(!monitor.getNetworkState());
    QStringList lines = log.takeLines();
    QVERIFY(lines.first().startsWith(QLatin1String("warning default: QObject::connect: ")));
    lines.removeFirst(); // Qt's own, about the signal that it cannot find
    QCOMPARE(lines, QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
    const QStringList calls =
        busMonitor.takeCalls(self).filter(QStringLiteral("org.freedesktop.NetworkManager /"));
    QCOMPARE(calls.size(), 2);
    QVERIFY(calls.at(0).endsWith(QLatin1String(".Introspect")));
    QVERIFY(calls.at(1).endsWith(QLatin1String(".state")));

    // When it answers again, this monitor still does not know of its signal.
    const QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    const Subscriber subscriber;
    m_networkManager.setResponsive(true);
    m_networkManager.emitStates({70});
    QTRY_COMPARE_WITH_TIMEOUT(subscriber.states, QVector<quint32>({70}), patience);
    QCOMPARE(changes.size(), 0);
    QVERIFY(!monitor.getNetworkState());
}

QTEST_GUILESS_MAIN(tst_MonitorBlocking)

#include "tst_monitorblocking.moc"
