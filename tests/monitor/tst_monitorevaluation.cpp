// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "emptypath.h"
#include "fakenetworkmanager.h"
#include "isolatedtest.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "privatebus.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusObjectPath>
#include <QLoggingCategory>
#include <QSet>
#include <QTest>

namespace {

QString device(int number)
{
    return FakeNetworkManager::devicePath(number);
}

QString connection()
{
    return FakeNetworkManager::connectionPath();
}

/// The lines of a monitor that is made now and asked once, its answer included.
QStringList linesOfNewMonitor()
{
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    monitor.getNetworkState();
    return log.takeLines();
}

} // namespace

// What a new monitor makes of what NetworkManager says.
class tst_MonitorEvaluation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void noConnectionAndGlobalStateIsOnline();
    void noConnectionAndAnyOtherStateIsOffline_data();
    void noConnectionAndAnyOtherStateIsOffline();
    void firstDeviceActivatedIsOnline();
    void walkEndsAtFirstActivatedDevice();
    void onlyState100IsAnActivatedDevice_data();
    void onlyState100IsAnActivatedDevice();
    void noActivatedDeviceFallsBackToState();
    void noActivatedDeviceAndSiteStateIsOffline();
    void emptyDeviceListFallsBackToState();
    void emptyDevicePathIsLoggedAndSkipped();
    void emptyPrimaryConnectionFallsBackToState();

    void missingPrimaryConnectionFallsBackToState();
    void primaryConnectionAnsweredByAnErrorFallsBackToState();
    void missingConnectionObjectFallsBackToState();
    void missingDevicesFallBackToState();
    void missingDeviceObjectCountsAsState0();
    void missingDeviceStateCountsAsState0();
    void missingStateMethodIsOffline();
    void failingStateMethodIsOffline();

    void primaryConnectionDeclaredAsStringIsNotRead();
    void primaryConnectionThatTurnsOutAStringIsNotRead();
    void devicesOfWrongTypeAreNotRead_data();
    void devicesOfWrongTypeAreNotRead();
    void deviceStateOfWrongTypeCountsAsState0_data();
    void deviceStateOfWrongTypeCountsAsState0();
    void stateReplyOfWrongTypeIsOffline_data();
    void stateReplyOfWrongTypeIsOffline();

    void noLinesWhileWarningsAreOff();
    void everyLineNamesItsPlaceInTheSource();

private:
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void tst_MonitorEvaluation::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
}

void tst_MonitorEvaluation::noConnectionAndGlobalStateIsOnline()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), answerLine(true)}));
}

void tst_MonitorEvaluation::noConnectionAndAnyOtherStateIsOffline_data()
{
    QTest::addColumn<quint32>("state");
    for (const quint32 state : {0U, 10U, 20U, 30U, 40U, 50U, 60U, 69U, 71U, 100U, 4294967295U})
        QTest::addRow("%u", state) << state;
}

void tst_MonitorEvaluation::noConnectionAndAnyOtherStateIsOffline()
{
    QFETCH(quint32, state);
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(state);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::firstDeviceActivatedIsOnline()
{
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(20);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), deviceLine(device(1)),
                                               stateLine(100), answerLine(true)}));
}

void tst_MonitorEvaluation::walkEndsAtFirstActivatedDevice()
{
    m_networkManager.setConnectedDevices({30, 100, 100, 100});
    m_networkManager.setState(20);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                          deviceLine(device(2)), stateLine(100), answerLine(true)}));
}

void tst_MonitorEvaluation::onlyState100IsAnActivatedDevice_data()
{
    QTest::addColumn<quint32>("state");
    for (const quint32 state : {0U, 70U, 90U, 99U, 101U, 110U, 120U, 4294967295U})
        QTest::addRow("%u", state) << state;
}

void tst_MonitorEvaluation::onlyState100IsAnActivatedDevice()
{
    QFETCH(quint32, state);
    m_networkManager.addDevice(device(1), state);
    m_networkManager.addActiveConnection(connection(), {device(1)});
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(20);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), deviceLine(device(1)),
                                               stateLine(state), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::noActivatedDeviceFallsBackToState()
{
    m_networkManager.setConnectedDevices({30, 70});
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                          deviceLine(device(2)), stateLine(70), answerLine(true)}));
}

void tst_MonitorEvaluation::noActivatedDeviceAndSiteStateIsOffline()
{
    m_networkManager.setConnectedDevices({30, 70});
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                          deviceLine(device(2)), stateLine(70), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::emptyDeviceListFallsBackToState()
{
    m_networkManager.setConnectedDevices({});
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), answerLine(true)}));
    m_networkManager.setState(50);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::emptyDevicePathIsLoggedAndSkipped()
{
    m_networkManager.addDevice(device(1), 30);
    m_networkManager.addDevice(device(2), 100);
    // It would be taken for an activated device if it were visited.
    m_networkManager.addDevice(QLatin1String(arrivesAsEmptyPath), 100);
    m_networkManager.addActiveConnection(connection(),
                                         {device(1), QLatin1String(arrivesAsEmptyPath), device(2)});
    m_networkManager.setPrimaryConnection(connection());
    // Qt has a line of its own to say on such a path.
    const QStringList lines =
        linesOfNewMonitor().filter(QStringLiteral("org.corvel.license.agent"));
    if (emptiedPaths() == 0)
        QSKIP("Qt's calls of libdbus cannot be intercepted here, so no path can be emptied");
    QCOMPARE(lines, QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                                 deviceLine(QString()), deviceLine(device(2)), stateLine(100),
                                 answerLine(true)}));
}

void tst_MonitorEvaluation::emptyPrimaryConnectionFallsBackToState()
{
    m_networkManager.setPrimaryConnection(QLatin1String(arrivesAsEmptyPath));
    m_networkManager.setState(70);
    // Qt has a line of its own to say on such a path.
    const QStringList lines =
        linesOfNewMonitor().filter(QStringLiteral("org.corvel.license.agent"));
    if (emptiedPaths() == 0)
        QSKIP("Qt's calls of libdbus cannot be intercepted here, so no path can be emptied");
    QCOMPARE(lines, QStringList({primaryLine(QString()), answerLine(true)}));
}

void tst_MonitorEvaluation::missingPrimaryConnectionFallsBackToState()
{
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(QString()), answerLine(true)}));
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::primaryConnectionAnsweredByAnErrorFallsBackToState()
{
    m_networkManager.setConnectedDevices({100});
    QCOMPARE(linesOfNewMonitor().constLast(),
             answerLine(true)); // Qt knows of the property by now, and asks for it
    m_networkManager.stop();
    QVERIFY(m_networkManager.start()); // without any property
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(QString()), answerLine(true)}));
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::missingConnectionObjectFallsBackToState()
{
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), answerLine(true)}));
}

void tst_MonitorEvaluation::missingDevicesFallBackToState()
{
    m_networkManager.setProperty(connection(),
                                 QStringLiteral("org.freedesktop.NetworkManager.Connection.Active"),
                                 QStringLiteral("Id"), QStringLiteral("Wired"));
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), answerLine(true)}));
}

void tst_MonitorEvaluation::missingDeviceObjectCountsAsState0()
{
    m_networkManager.addDevice(device(2), 100);
    m_networkManager.addActiveConnection(connection(), {device(1), device(2)});
    m_networkManager.setPrimaryConnection(connection());
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(0),
                          deviceLine(device(2)), stateLine(100), answerLine(true)}));
}

void tst_MonitorEvaluation::missingDeviceStateCountsAsState0()
{
    m_networkManager.setProperty(device(1), QStringLiteral("org.freedesktop.NetworkManager.Device"),
                                 QStringLiteral("Interface"), QStringLiteral("eth0"));
    m_networkManager.addActiveConnection(connection(), {device(1)});
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), deviceLine(device(1)),
                                               stateLine(0), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::missingStateMethodIsOffline()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::failingStateMethodIsOffline()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setMethod(QStringLiteral("state"), QStringLiteral("u"),
                               QStringLiteral("raise dbus.exceptions.DBusException('no')"));
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::primaryConnectionDeclaredAsStringIsNotRead()
{
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setProperty(QStringLiteral("/org/freedesktop/NetworkManager"),
                                 QStringLiteral("org.freedesktop.NetworkManager"),
                                 QStringLiteral("PrimaryConnection"), connection());
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::primaryConnectionThatTurnsOutAStringIsNotRead()
{
    m_networkManager.setConnectedDevices({100});
    QCOMPARE(linesOfNewMonitor().constLast(),
             answerLine(true)); // Qt knows the property's type by now
    m_networkManager.setProperty(QStringLiteral("/org/freedesktop/NetworkManager"),
                                 QStringLiteral("org.freedesktop.NetworkManager"),
                                 QStringLiteral("PrimaryConnection"), connection());
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::devicesOfWrongTypeAreNotRead_data()
{
    QTest::addColumn<QVariant>("devices");
    QTest::newRow("strings") << QVariant(QStringList{device(1)});
    QTest::newRow("one path") << QVariant::fromValue(QDBusObjectPath(device(1)));
    QTest::newRow("number") << QVariant(1U);
}

void tst_MonitorEvaluation::devicesOfWrongTypeAreNotRead()
{
    QFETCH(QVariant, devices);
    m_networkManager.addDevice(device(1), 100);
    m_networkManager.setProperty(connection(),
                                 QStringLiteral("org.freedesktop.NetworkManager.Connection.Active"),
                                 QStringLiteral("Devices"), devices);
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::deviceStateOfWrongTypeCountsAsState0_data()
{
    QTest::addColumn<QVariant>("state");
    QTest::newRow("signed") << QVariant(100);
    QTest::newRow("64 bits") << QVariant(100ULL);
    QTest::newRow("string") << QVariant(QStringLiteral("100"));
    QTest::newRow("boolean") << QVariant(true);
}

void tst_MonitorEvaluation::deviceStateOfWrongTypeCountsAsState0()
{
    QFETCH(QVariant, state);
    m_networkManager.setProperty(device(1), QStringLiteral("org.freedesktop.NetworkManager.Device"),
                                 QStringLiteral("State"), state);
    m_networkManager.addActiveConnection(connection(), {device(1)});
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), deviceLine(device(1)),
                                               stateLine(0), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::stateReplyOfWrongTypeIsOffline_data()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("code");
    QTest::newRow("signed") << QStringLiteral("i") << QStringLiteral("ret = 70");
    QTest::newRow("64 bits") << QStringLiteral("t") << QStringLiteral("ret = 70");
    QTest::newRow("string") << QStringLiteral("s") << QStringLiteral("ret = '70'");
    QTest::newRow("variant") << QStringLiteral("v") << QStringLiteral("ret = dbus.UInt32(70)");
    QTest::newRow("nothing") << QString() << QString();
}

void tst_MonitorEvaluation::stateReplyOfWrongTypeIsOffline()
{
    QFETCH(QString, signature);
    QFETCH(QString, code);
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setMethod(QStringLiteral("state"), signature, code);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::noLinesWhileWarningsAreOff()
{
    m_networkManager.setConnectedDevices({30, 100});
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.warning=false"));
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    QVERIFY(monitor.getNetworkState());
    QCOMPARE(log.takeLines(), QStringList());

    // Looked at again for each line.
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(monitor.getNetworkState());
    QCOMPARE(log.takeLines(), QStringList({answerLine(true)}));
}

void tst_MonitorEvaluation::everyLineNamesItsPlaceInTheSource()
{
    m_networkManager.setConnectedDevices({30});
    m_networkManager.setState(60);
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    QMetaObject::invokeMethod(&monitor, "onStateChanged", Q_ARG(quint32, 20));
    monitor.getNetworkState();
    QStringList functions;
    QSet<int> places;
    const auto records = log.take();
    for (const LogRecord &record : records) {
        QVERIFY2(record.file.endsWith(QLatin1String("/monitornetwork.cpp")),
                 qPrintable(record.file));
        QVERIFY(record.line > 0);
        places.insert(record.line);
        functions += record.function;
    }
    const QString evaluation = QStringLiteral("void MonitorNetworkPrivate::currectNetworkState()");
    QCOMPARE(functions,
             QStringList({QStringLiteral("QString MonitorNetworkPrivate::getPrimaryConnection()"),
                          evaluation, evaluation, evaluation,
                          QStringLiteral("void MonitorNetwork::onStateChanged(quint32)"),
                          QStringLiteral("bool MonitorNetwork::getNetworkState()")}));
    QCOMPARE(places.size(), functions.size());
}

ISOLATED_TEST_MAIN(tst_MonitorEvaluation)

#include "tst_monitorevaluation.moc"
