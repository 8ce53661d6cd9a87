// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "emptypath.h"
#include "fakenetworkmanager.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "newmonitor.h"
#include "privatebus.h"
#include "testprogram.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnectionInterface>
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

} // namespace

// How a new monitor evaluates NetworkManager's answers.
class TestMonitorEvaluation : public QObject
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
    void secondReadOfADevicesStateDecides_data();
    void secondReadOfADevicesStateDecides();
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

    void pathsOfAMegabyteAreFollowed();
    void hundredThousandDevicesAreWalkedToTheFirstActivated();
    void everyDeviceOfALongListIsRead();
    void devicesBeyondTheBusLimitAreOffline();

    void noLinesWhileWarningsAreOff();
    void everyLineNamesItsPlaceInTheSource();

private:
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void TestMonitorEvaluation::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
}

void TestMonitorEvaluation::noConnectionAndGlobalStateIsOnline()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), answerLine(true)}));
}

void TestMonitorEvaluation::noConnectionAndAnyOtherStateIsOffline_data()
{
    QTest::addColumn<quint32>("state");
    for (const quint32 state : {0U, 10U, 20U, 30U, 40U, 50U, 60U, 69U, 71U, 100U, 4294967295U})
        QTest::addRow("%u", state) << state;
}

void TestMonitorEvaluation::noConnectionAndAnyOtherStateIsOffline()
{
    QFETCH(quint32, state);
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(state);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::firstDeviceActivatedIsOnline()
{
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(20);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), deviceLine(device(1)),
                                               stateLine(100), answerLine(true)}));
}

void TestMonitorEvaluation::walkEndsAtFirstActivatedDevice()
{
    m_networkManager.setConnectedDevices({30, 100, 100, 100});
    m_networkManager.setState(20);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                          deviceLine(device(2)), stateLine(100), answerLine(true)}));
}

void TestMonitorEvaluation::onlyState100IsAnActivatedDevice_data()
{
    QTest::addColumn<quint32>("state");
    for (const quint32 state : {0U, 70U, 90U, 99U, 101U, 110U, 120U, 4294967295U})
        QTest::addRow("%u", state) << state;
}

void TestMonitorEvaluation::onlyState100IsAnActivatedDevice()
{
    QFETCH(quint32, state);
    m_networkManager.addDevice(device(1), state);
    m_networkManager.addActiveConnection(connection(), {device(1)});
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(20);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), deviceLine(device(1)),
                                               stateLine(state), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::secondReadOfADevicesStateDecides_data()
{
    QTest::addColumn<quint32>("first");
    QTest::addColumn<quint32>("second");
    QTest::newRow("activated in between") << 30U << 100U;
    QTest::newRow("disconnected in between") << 100U << 30U;
}

// The first read is for the line.
void TestMonitorEvaluation::secondReadOfADevicesStateDecides()
{
    QFETCH(quint32, first);
    QFETCH(quint32, second);
    m_networkManager.setConnectedDevices({30});
    m_networkManager.setState(60);
    m_networkManager.setAnswer(device(1), QStringLiteral("Get State"), QStringLiteral("v"),
                               QStringLiteral("isSecond = os.environ.pop('READ', None)\n"
                                              "if not isSecond: os.environ['READ'] = 'once'\n"
                                              "ret = [dbus.UInt32(%2 if isSecond else %1)]")
                                   .arg(first)
                                   .arg(second));
    QStringList lines({primaryLine(connection()), deviceLine(device(1)), stateLine(first)});
    lines += second == 100 ? QStringList(answerLine(true))
                           : QStringList({errorLine(), answerLine(false)});
    QCOMPARE(linesOfNewMonitor(), lines);
}

void TestMonitorEvaluation::noActivatedDeviceFallsBackToState()
{
    m_networkManager.setConnectedDevices({30, 70});
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                          deviceLine(device(2)), stateLine(70), answerLine(true)}));
}

void TestMonitorEvaluation::noActivatedDeviceAndSiteStateIsOffline()
{
    m_networkManager.setConnectedDevices({30, 70});
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                          deviceLine(device(2)), stateLine(70), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::emptyDeviceListFallsBackToState()
{
    m_networkManager.setConnectedDevices({});
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), answerLine(true)}));
    m_networkManager.setState(50);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::emptyDevicePathIsLoggedAndSkipped()
{
    m_networkManager.addDevice(device(1), 30);
    m_networkManager.addDevice(device(2), 100);
    // A visit would find an activated device.
    m_networkManager.addDevice(QLatin1String(arrivesAsEmptyPath), 100);
    m_networkManager.addActiveConnection(connection(),
                                         {device(1), QLatin1String(arrivesAsEmptyPath), device(2)});
    m_networkManager.setPrimaryConnection(connection());
    // Qt also writes a line about such a path.
    const QStringList lines =
        linesOfNewMonitor().filter(QStringLiteral("org.corvel.license.agent"));
    if (emptiedPaths() == 0)
        QSKIP("Qt's calls of libdbus cannot be intercepted here, so no path can be emptied");
    QCOMPARE(lines, QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                                 deviceLine(QString()), deviceLine(device(2)), stateLine(100),
                                 answerLine(true)}));
}

void TestMonitorEvaluation::emptyPrimaryConnectionFallsBackToState()
{
    m_networkManager.setPrimaryConnection(QLatin1String(arrivesAsEmptyPath));
    m_networkManager.setState(70);
    // Qt also writes a line about such a path.
    const QStringList lines =
        linesOfNewMonitor().filter(QStringLiteral("org.corvel.license.agent"));
    if (emptiedPaths() == 0)
        QSKIP("Qt's calls of libdbus cannot be intercepted here, so no path can be emptied");
    QCOMPARE(lines, QStringList({primaryLine(QString()), answerLine(true)}));
}

void TestMonitorEvaluation::missingPrimaryConnectionFallsBackToState()
{
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(QString()), answerLine(true)}));
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::primaryConnectionAnsweredByAnErrorFallsBackToState()
{
    m_networkManager.setConnectedDevices({100});
    QCOMPARE(linesOfNewMonitor().constLast(),
             answerLine(true)); // from now on Qt knows of the property, and asks for it
    m_networkManager.stop();
    QVERIFY(m_networkManager.start()); // without any property
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(QString()), answerLine(true)}));
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::missingConnectionObjectFallsBackToState()
{
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), answerLine(true)}));
}

void TestMonitorEvaluation::missingDevicesFallBackToState()
{
    m_networkManager.setProperty(connection(),
                                 QStringLiteral("org.freedesktop.NetworkManager.Connection.Active"),
                                 QStringLiteral("Id"), QStringLiteral("Wired"));
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(70);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), answerLine(true)}));
}

void TestMonitorEvaluation::missingDeviceObjectCountsAsState0()
{
    m_networkManager.addDevice(device(2), 100);
    m_networkManager.addActiveConnection(connection(), {device(1), device(2)});
    m_networkManager.setPrimaryConnection(connection());
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(0),
                          deviceLine(device(2)), stateLine(100), answerLine(true)}));
}

void TestMonitorEvaluation::missingDeviceStateCountsAsState0()
{
    m_networkManager.setProperty(device(1), QStringLiteral("org.freedesktop.NetworkManager.Device"),
                                 QStringLiteral("Interface"), QStringLiteral("eth0"));
    m_networkManager.addActiveConnection(connection(), {device(1)});
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(60);
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), deviceLine(device(1)),
                                               stateLine(0), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::missingStateMethodIsOffline()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::failingStateMethodIsOffline()
{
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setMethod(QStringLiteral("state"), QStringLiteral("u"),
                               QStringLiteral("raise dbus.exceptions.DBusException('no')"));
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void TestMonitorEvaluation::pathsOfAMegabyteAreFollowed()
{
    const QString megabyte = QLatin1Char('/') + QString(1 << 20, QLatin1Char('a'));
    const QString primary = megabyte + QLatin1Char('c');
    const QString first = megabyte + QLatin1Char('1');
    const QString second = megabyte + QLatin1Char('2');
    m_networkManager.addDevice(first, 30);
    m_networkManager.addDevice(second, 100);
    m_networkManager.addActiveConnection(primary, {first, second});
    m_networkManager.setPrimaryConnection(primary);
    m_networkManager.setState(60);
    const QStringList online({primaryLine(primary), deviceLine(first), stateLine(30),
                              deviceLine(second), stateLine(100), answerLine(true)});
    qint64 blocked = 0;
    QVERIFY(linesOfNewMonitor(&blocked) == online); // QCOMPARE would print them
    qInfo("blocked for %lld ms", blocked);

    m_networkManager.addDevice(second, 30);
    const QStringList offline({primaryLine(primary), deviceLine(first), stateLine(30),
                               deviceLine(second), stateLine(30), errorLine(), answerLine(false)});
    QVERIFY(linesOfNewMonitor() == offline);
}

void TestMonitorEvaluation::hundredThousandDevicesAreWalkedToTheFirstActivated()
{
    m_networkManager.addDevice(device(1), 30);
    m_networkManager.addDevice(device(2), 100);
    QStringList devices;
    for (int number = 1; number <= 100000; ++number)
        devices += device(number);
    m_networkManager.addActiveConnection(connection(), devices);
    m_networkManager.setPrimaryConnection(connection());
    qint64 blocked = 0;
    QCOMPARE(linesOfNewMonitor(&blocked),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                          deviceLine(device(2)), stateLine(100), answerLine(true)}));
    qInfo("blocked for %lld ms", blocked);
}

void TestMonitorEvaluation::everyDeviceOfALongListIsRead()
{
    constexpr int count = 500;
    m_networkManager.addDevice(device(1), 30);
    QStringList devices;
    QStringList lines(primaryLine(connection()));
    for (int number = 0; number < count; ++number) {
        devices += device(1);
        lines += {deviceLine(device(1)), stateLine(30)};
    }
    lines += {errorLine(), answerLine(false)};
    m_networkManager.addActiveConnection(connection(), devices);
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(60);
    qint64 blocked = 0;
    QCOMPARE(linesOfNewMonitor(&blocked), lines);
    qInfo("blocked for %lld ms by %d devices", blocked, count);
}

// The bus disconnects a client that sends such a message.
void TestMonitorEvaluation::devicesBeyondTheBusLimitAreOffline()
{
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(70);
    m_networkManager.setAnswer(
        connection(), QStringLiteral("Get Devices"), QStringLiteral("v"),
        QStringLiteral("ret = [dbus.Array(['/' + 'a' * (1 << 20)] * 40, signature='o')]"));
    qint64 blocked = 0;
    QCOMPARE(linesOfNewMonitor(&blocked),
             QStringList({primaryLine(connection()), errorLine(), answerLine(false)}));
    qInfo("blocked for %lld ms", blocked);
    QVERIFY(!QDBusConnection::systemBus().interface()->isServiceRegistered(
        QStringLiteral("org.freedesktop.NetworkManager")));
}

void TestMonitorEvaluation::noLinesWhileWarningsAreOff()
{
    m_networkManager.setConnectedDevices({30, 100});
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.warning=false"));
    LogCapture log;
    MonitorNetwork monitor(nullptr);
    QVERIFY(monitor.getNetworkState());
    QCOMPARE(log.takeLines(), QStringList());

    // The level is tested again for each line.
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(monitor.getNetworkState());
    QCOMPARE(log.takeLines(), QStringList({answerLine(true)}));
}

void TestMonitorEvaluation::everyLineNamesItsPlaceInTheSource()
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

SYNCSTATUS_ISOLATED_TEST(TestMonitorEvaluation)

#include "tst_monitorevaluation.moc"
