// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "busmonitor.h"
#include "fakenetworkmanager.h"
#include "isolatedtest.h"
#include "logcapture.h"
#include "patience.h"
#include "privatebus.h"

#include <syncstatus/monitornetwork.h>

#include <QLoggingCategory>
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

QStringList strings(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list += QLatin1String(text);
    return list;
}

} // namespace

// The calls by which a monitor reaches the bus, as the bus sees them.
class tst_MonitorTraffic : public QObject
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

private:
    QStringList takeCalls();

    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
    BusMonitor m_busMonitor;
    QStringList m_callsOfBus;
};

void tst_MonitorTraffic::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
    QVERIFY(m_busMonitor.start());
}

// This process's calls of everybody but the bus; those of the bus go to m_callsOfBus.
QStringList tst_MonitorTraffic::takeCalls()
{
    m_callsOfBus.clear();
    QStringList others;
    const auto calls = m_busMonitor.takeCalls(QDBusConnection::systemBus().baseService());
    for (const QString &call : calls)
        (call.startsWith(QLatin1String("org.freedesktop.DBus ")) ? m_callsOfBus : others) += call;
    return others;
}

void tst_MonitorTraffic::activatedDeviceIsReadTwice()
{
    m_networkManager.setConnectedDevices({100});
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(), strings({introspect, readPrimaryConnection, readDevices}) +
                              QStringList({readState(1), readState(1)}));
}

void tst_MonitorTraffic::activatedDeviceIsReadOnceWhileWarningsAreOff()
{
    m_networkManager.setConnectedDevices({30, 100});
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.warning=false"));
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(), strings({introspect, readPrimaryConnection, readDevices}) +
                              QStringList({readState(1), readState(2)}));
}

void tst_MonitorTraffic::nothingIsReadAfterFirstActivatedDevice()
{
    m_networkManager.setConnectedDevices({30, 100, 100, 100});
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(),
             strings({introspect, readPrimaryConnection, readDevices}) +
                 QStringList({readState(1), readState(1), readState(2), readState(2)}));
}

void tst_MonitorTraffic::stateIsCalledWhenNoDeviceIsActivated()
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

void tst_MonitorTraffic::stateIsCalledWithoutConnection()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(), strings({introspect, readPrimaryConnection, callState}));
}

void tst_MonitorTraffic::absentNetworkManagerIsTriedOnce()
{
    m_networkManager.stop();
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls(), strings({introspect, callState}));
}

void tst_MonitorTraffic::callsOfTheBusItselfDoNotGrowWithDevices()
{
    m_networkManager.setConnectedDevices(QVector<quint32>(50, 30));
    LogCapture log;
    const MonitorNetwork monitor(nullptr);
    QCOMPARE(takeCalls().count(readState(50)), 2);

    // As many with one device: Qt follows the name's owner once for all its proxies.
    const QString bus = QStringLiteral("org.freedesktop.DBus /org/freedesktop/DBus "
                                       "org.freedesktop.DBus.");
    const QString followOwner =
        bus + QStringLiteral("AddMatch type='signal',sender='org.freedesktop.DBus',"
                             "interface='org.freedesktop.DBus',member='NameOwnerChanged',"
                             "arg0='org.freedesktop.NetworkManager'");
    const QString askOwner = bus + QStringLiteral("GetNameOwner org.freedesktop.NetworkManager");
    const QString subscribe =
        bus + QStringLiteral("AddMatch type='signal',sender='org.freedesktop.NetworkManager',"
                             "path='/org/freedesktop/NetworkManager',"
                             "interface='org.freedesktop.NetworkManager',member='StateChanged'");
    QCOMPARE(m_callsOfBus, QStringList({bus + QStringLiteral("Hello"), followOwner, askOwner,
                                        subscribe, followOwner, askOwner}));
}

void tst_MonitorTraffic::nothingIsAskedAfterConstruction()
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

ISOLATED_TEST_MAIN(tst_MonitorTraffic)

#include "tst_monitortraffic.moc"
