// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"
#include "fakenetworkmanager.h"
#include "logcapture.h"
#include "patience.h"
#include "privatebus.h"
#include "testprogram.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QLoggingCategory>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QTest>

namespace {

const char introspect[] = "org.freedesktop.NetworkManager /org/freedesktop/NetworkManager "
                          "org.freedesktop.DBus.Introspectable.Introspect";
const char readPrimaryConnection[] =
    "org.freedesktop.NetworkManager /org/freedesktop/NetworkManager "
    "org.freedesktop.DBus.Properties.Get org.freedesktop.NetworkManager PrimaryConnection";
const char readDevices[] =
    "org.freedesktop.NetworkManager /org/freedesktop/NetworkManager/ActiveConnection/1 "
    "org.freedesktop.DBus.Properties.Get org.freedesktop.NetworkManager.Connection.Active Devices";
const char callState[] = "org.freedesktop.NetworkManager /org/freedesktop/NetworkManager "
                         "org.freedesktop.NetworkManager.state";

QString readState(int number)
{
    return QStringLiteral("org.freedesktop.NetworkManager %1 org.freedesktop.DBus.Properties.Get "
                          "org.freedesktop.NetworkManager.Device State")
        .arg(FakeNetworkManager::devicePath(number));
}

// The match rule by which Qt follows the name's owner, and the rule of the subscription.
const char ownerRule[] = "type='signal',sender='org.freedesktop.DBus',"
                         "interface='org.freedesktop.DBus',member='NameOwnerChanged',"
                         "arg0='org.freedesktop.NetworkManager'";
const char stateChangedRule[] = "type='signal',sender='org.freedesktop.NetworkManager',"
                                "path='/org/freedesktop/NetworkManager',"
                                "interface='org.freedesktop.NetworkManager',"
                                "member='StateChanged'";

QString callOfBus(const QString &call)
{
    return QLatin1String("org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus.") + call;
}

QString addMatch(const char *rule)
{
    return callOfBus(QLatin1String("AddMatch ") + QLatin1String(rule));
}

QString removeMatch(const char *rule)
{
    return callOfBus(QLatin1String("RemoveMatch ") + QLatin1String(rule));
}

QString hello()
{
    return callOfBus(QStringLiteral("Hello"));
}

QString askOwner()
{
    return callOfBus(QStringLiteral("GetNameOwner org.freedesktop.NetworkManager"));
}

// A message handler that makes a D-Bus call of each line of the library. So the lines have their
// place among the other calls of this process.
void callWithLine(QtMsgType, const QMessageLogContext &context, const QString &text)
{
    if (qstrcmp(context.category, "org.corvel.license.agent") != 0)
        return;
    const QString name = QStringLiteral("test.Log");
    QDBusMessage call =
        QDBusMessage::createMethodCall(name, QStringLiteral("/"), name, QStringLiteral("Line"));
    call.setArguments({text});
    QDBusConnection::systemBus().send(call);
}

QString line(const QString &text)
{
    return QLatin1String("test.Log / test.Log.Line codestack:  ") + text;
}

QStringList strings(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list += QLatin1String(text);
    return list;
}

} // namespace

// The D-Bus calls of a monitor, as the bus sees them.
class TestMonitorTraffic : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void activatedDeviceIsReadTwice();
    void activatedDeviceIsReadOnceWhileWarningsAreOff();
    void nothingIsReadAfterFirstActivatedDevice();
    void stateIsCalledWhenNoDeviceIsActivated();
    void stateIsCalledWithoutConnection();
    void absentNetworkManagerIsTriedOnce();
    void callsOfTheBusItselfDoNotGrowWithDevices();
    void nothingIsAskedAfterConstruction();
    void subscriptionReadsAndLinesAreInOrder();
    void deletionTakesTheSubscriptionBack();

private:
    QStringList takeCalls();

    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
    BusMonitor m_busMonitor;
    QStringList m_callsOfBus;
};

void TestMonitorTraffic::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    QVERIFY(m_busMonitor.start());
}

// Returns this process's calls of other clients. The calls of the bus itself go to m_callsOfBus.
QStringList TestMonitorTraffic::takeCalls()
{
    m_callsOfBus.clear();
    QStringList others;
    const auto calls = m_busMonitor.takeCalls(QDBusConnection::systemBus().baseService());
    for (const QString &call : calls)
        (call.startsWith(QLatin1String("org.freedesktop.DBus ")) ? m_callsOfBus : others) += call;
    return others;
}

void TestMonitorTraffic::activatedDeviceIsReadTwice()
{
    m_networkManager.setConnectedDevices({100});
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(), strings({introspect, readPrimaryConnection, readDevices}) +
                              QStringList({readState(1), readState(1)}));
}

void TestMonitorTraffic::activatedDeviceIsReadOnceWhileWarningsAreOff()
{
    m_networkManager.setConnectedDevices({30, 100});
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.warning=false"));
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(), strings({introspect, readPrimaryConnection, readDevices}) +
                              QStringList({readState(1), readState(2)}));
}

void TestMonitorTraffic::nothingIsReadAfterFirstActivatedDevice()
{
    m_networkManager.setConnectedDevices({30, 100, 100, 100});
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(),
             strings({introspect, readPrimaryConnection, readDevices}) +
                 QStringList({readState(1), readState(1), readState(2), readState(2)}));
}

void TestMonitorTraffic::stateIsCalledWhenNoDeviceIsActivated()
{
    m_networkManager.setConnectedDevices({30, 70});
    m_networkManager.setState(70);
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(),
             strings({introspect, readPrimaryConnection, readDevices}) +
                 QStringList({readState(1), readState(1), readState(2), readState(2)}) +
                 strings({callState}));
}

void TestMonitorTraffic::stateIsCalledWithoutConnection()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(), strings({introspect, readPrimaryConnection, callState}));
}

void TestMonitorTraffic::absentNetworkManagerIsTriedOnce()
{
    m_networkManager.stop();
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(), strings({introspect, callState}));
}

void TestMonitorTraffic::callsOfTheBusItselfDoNotGrowWithDevices()
{
    m_networkManager.setConnectedDevices(QVector<quint32>(50, 30));
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls().count(readState(50)), 2);

    // One device takes as many: Qt follows the name's owner once for all proxies.
    QCOMPARE(m_callsOfBus,
             QStringList({hello(), addMatch(ownerRule), askOwner(), addMatch(stateChangedRule),
                          addMatch(ownerRule), askOwner()}));
}

void TestMonitorTraffic::nothingIsAskedAfterConstruction()
{
    m_networkManager.setConnectedDevices({30});
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    takeCalls();

    QVERIFY(!monitor.getNetworkState());
    QSignalSpy changes(&monitor, &MonitorNetwork::networkStateChange);
    m_networkManager.emitStates({20, 70});
    QTRY_COMPARE_WITH_TIMEOUT(changes.size(), 1, patience);
    QVERIFY(monitor.getNetworkState());
    QCOMPARE(takeCalls(), QStringList());
    QCOMPARE(m_callsOfBus, QStringList());
}

void TestMonitorTraffic::subscriptionReadsAndLinesAreInOrder()
{
    m_networkManager.setConnectedDevices({30});
    m_networkManager.setState(60);
    const QtMessageHandler previous = qInstallMessageHandler(callWithLine);
    const MonitorNetwork monitor(nullptr);
    qInstallMessageHandler(previous);
    const QString self = QDBusConnection::systemBus().baseService();
    QCOMPARE(m_busMonitor.takeCalls(self),
             QStringList({hello(), QLatin1String(introspect), addMatch(ownerRule), askOwner(),
                          addMatch(stateChangedRule), addMatch(ownerRule), askOwner(),
                          QLatin1String(readPrimaryConnection),
                          line(QStringLiteral("get primary connection path: \"%1\"")
                                   .arg(FakeNetworkManager::connectionPath())),
                          QLatin1String(readDevices),
                          line(QStringLiteral("device interface path: \"%1\"")
                                   .arg(FakeNetworkManager::devicePath(1))),
                          readState(1), line(QStringLiteral("current device network state: 30")),
                          readState(1), QLatin1String(callState),
                          line(QStringLiteral("get network state error!"))}));
}

void TestMonitorTraffic::deletionTakesTheSubscriptionBack()
{
    m_networkManager.setConnectedDevices({30});
    LogCapture log;
    QScopedPointer<MonitorNetwork> monitor(new MonitorNetwork(nullptr));
    takeCalls();

    monitor.reset();
    QStringList others;
    QStringList ofBus;
    // Qt may send them after the call by which takeCalls() knows the end.
    const auto all = [&] {
        others += takeCalls();
        ofBus += m_callsOfBus.filter(QStringLiteral("org.freedesktop.NetworkManager"));
        return ofBus;
    };
    // As many rules as were added.
    QTRY_COMPARE_WITH_TIMEOUT(all(),
                              QStringList({removeMatch(stateChangedRule), removeMatch(ownerRule),
                                           removeMatch(ownerRule)}),
                              patience);
    QCOMPARE(others, QStringList());
}

SYNCSTATUS_ISOLATED_TEST(TestMonitorTraffic)

#include "tst_monitortraffic.moc"
