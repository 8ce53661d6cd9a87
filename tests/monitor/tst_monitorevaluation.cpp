// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "emptypath.h"
#include "fakenetworkmanager.h"
#include "isolatedtest.h"
#include "logcapture.h"
#include "monitorlines.h"
#include "privatebus.h"

#include <syncstatus/monitornetwork.h>

#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QProcess>
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

/// How long the making of the last monitor blocked, in milliseconds.
qint64 blocked;

/// The lines of a monitor that is made now and asked once, its answer included. Fails the test when
/// that took as long as a call does that is given up: whatever is wrong with an answer, it counts
/// as one.
QStringList linesOfNewMonitor()
{
    LogCapture log;
    QElapsedTimer time;
    time.start();
    MonitorNetwork monitor(nullptr);
    blocked = time.elapsed();
    monitor.getNetworkState();
    if (blocked > 20000) // of the 25 seconds of libdbus
        QTest::qFail("a call was waited for in vain", __FILE__, __LINE__);
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

    void onlyADeclaredObjectPathIsRead_data();
    void onlyADeclaredObjectPathIsRead();
    void primaryConnectionOfWrongTypeIsNotRead_data();
    void primaryConnectionOfWrongTypeIsNotRead();
    void devicesOfWrongTypeAreNotRead_data();
    void devicesOfWrongTypeAreNotRead();
    void deviceStateOfWrongTypeCountsAsState0_data();
    void deviceStateOfWrongTypeCountsAsState0();
    void stateReplyOfWrongTypeIsOffline_data();
    void stateReplyOfWrongTypeIsOffline();
    void introspectionOfWrongTypeIsOffline_data();
    void introspectionOfWrongTypeIsOffline();

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

void tst_MonitorEvaluation::secondReadOfADevicesStateDecides_data()
{
    QTest::addColumn<quint32>("first");
    QTest::addColumn<quint32>("second");
    QTest::newRow("activated in between") << 30U << 100U;
    QTest::newRow("disconnected in between") << 100U << 30U;
}

// The first is the line's.
void tst_MonitorEvaluation::secondReadOfADevicesStateDecides()
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

void tst_MonitorEvaluation::onlyADeclaredObjectPathIsRead_data()
{
    QTest::addColumn<QString>("type");
    for (const char *type :
         {"y", "b",  "n",  "q",  "i",  "u",   "x",     "t",    "d",   "s", "o", "g", "h",
          "v", "as", "ao", "aq", "av", "aas", "a{sv}", "(ii)", "(o)", "z", "a", "(", "{sv}"})
        QTest::newRow(type) << QString::fromLatin1(type);
    QTest::newRow("empty") << QString();
    QTest::newRow("300 characters") << QStringLiteral("(%1)").arg(QString(298, QLatin1Char('i')));
}

// What the introspection declares, here the same type for all that is used of the object. A program
// each, since Qt remembers an introspection for as long as the process lives, or ends it.
void tst_MonitorEvaluation::onlyADeclaredObjectPathIsRead()
{
    QFETCH(QString, type);
    m_networkManager.setPrimaryConnection(connection());
    m_networkManager.setState(70);
    m_networkManager.setAnswer(
        FakeNetworkManager::rootPath(), QStringLiteral("Introspect"), QStringLiteral("s"),
        QStringLiteral("ret = ['<node><interface name=\"org.freedesktop.NetworkManager\">"
                       "<property name=\"PrimaryConnection\" type=\"%1\" access=\"read\"/>"
                       "<method name=\"state\"><arg type=\"%1\" direction=\"out\"/></method>"
                       "<signal name=\"StateChanged\"><arg type=\"%1\"/></signal>"
                       "</interface></node>']")
            .arg(type));
    QProcess process;
    process.start(QStringLiteral(MONITOR_AT_EXIT), QStringList());
    QVERIFY(process.waitForFinished());
    const QByteArray messages = process.readAllStandardError();
    QVERIFY2(process.exitStatus() == QProcess::NormalExit, messages.constData());
    QStringList lines = QString::fromUtf8(messages).split(QLatin1Char('\n'));
    // Qt has a line of its own to say on a signal that it misses.
    lines = lines.filter(QStringLiteral("org.corvel.license.agent"));
    const QString path = type == QLatin1String("o") ? connection() : QString();
    QCOMPARE(lines, QStringList(primaryLine(path).remove(QStringLiteral("warning "))));
}

// Each wrong answer carries what would be taken for connectivity if it were read after all. All are
// given by a NetworkManager whose introspection is right: Qt has no reason to expect them.
void tst_MonitorEvaluation::primaryConnectionOfWrongTypeIsNotRead_data()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("answer");
    const QString path = QStringLiteral("'%1'").arg(connection());
    const auto row = [&](const char *name, const char *signature, const QString &answer) {
        QTest::newRow(name) << QString::fromLatin1(signature) << answer;
    };
    row("string", "v", path);
    row("signature", "v", QStringLiteral("dbus.Signature('o')"));
    row("number", "v", QStringLiteral("dbus.UInt32(1)"));
    row("list", "v", QStringLiteral("dbus.Array([%1], signature='o')").arg(path));
    row("structure", "v", QStringLiteral("dbus.Struct((%1,), signature='o')").arg(path));
    row("dictionary", "v", QStringLiteral("dbus.Dictionary({1: %1}, signature='uo')").arg(path));
    row("variant in variant", "v",
        QStringLiteral("dbus.ObjectPath(%1, variant_level=2)").arg(path));
    row("no variant", "o", path);
    row("two variants", "vv", QStringLiteral("dbus.ObjectPath(%1), dbus.ObjectPath(%1)").arg(path));
    row("nothing", "", QString());
}

void tst_MonitorEvaluation::primaryConnectionOfWrongTypeIsNotRead()
{
    QFETCH(QString, signature);
    QFETCH(QString, answer);
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(60);
    m_networkManager.setAnswer(FakeNetworkManager::rootPath(),
                               QStringLiteral("Get PrimaryConnection"), signature,
                               QStringLiteral("ret = [%1]").arg(answer));
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::devicesOfWrongTypeAreNotRead_data()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("answer");
    const QString path = QStringLiteral("'%1'").arg(device(1));
    const auto row = [&](const char *name, const char *signature, const QString &answer) {
        QTest::newRow(name) << QString::fromLatin1(signature) << answer;
    };
    row("strings", "v", QStringLiteral("dbus.Array([%1], signature='s')").arg(path));
    row("one path", "v", QStringLiteral("dbus.ObjectPath(%1)").arg(path));
    row("number", "v", QStringLiteral("dbus.UInt32(1)"));
    row("list of lists", "v",
        QStringLiteral("dbus.Array([dbus.Array([%1], signature='o')], signature='ao')").arg(path));
    row("list of variants", "v",
        QStringLiteral("dbus.Array([dbus.ObjectPath(%1)], signature='v')").arg(path));
    row("structure", "v", QStringLiteral("dbus.Struct((%1,), signature='o')").arg(path));
    row("dictionary", "v", QStringLiteral("dbus.Dictionary({1: %1}, signature='uo')").arg(path));
    row("variant in variant", "v",
        QStringLiteral("dbus.Array([%1], signature='o', variant_level=2)").arg(path));
    row("no variant", "ao", QStringLiteral("[%1]").arg(path));
    row("nothing", "", QString());
}

void tst_MonitorEvaluation::devicesOfWrongTypeAreNotRead()
{
    QFETCH(QString, signature);
    QFETCH(QString, answer);
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(60);
    m_networkManager.setAnswer(connection(), QStringLiteral("Get Devices"), signature,
                               QStringLiteral("ret = [%1]").arg(answer));
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::deviceStateOfWrongTypeCountsAsState0_data()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("answer");
    const auto row = [&](const char *name, const char *signature, const char *answer) {
        QTest::newRow(name) << QString::fromLatin1(signature) << QString::fromLatin1(answer);
    };
    row("signed", "v", "dbus.Int32(100)");
    row("16 bits", "v", "dbus.UInt16(100)");
    row("64 bits", "v", "dbus.UInt64(100)");
    row("byte", "v", "dbus.Byte(100)");
    row("floating point", "v", "dbus.Double(100)");
    row("string", "v", "'100'");
    row("boolean", "v", "True");
    row("list", "v", "dbus.Array([100], signature='u')");
    row("structure", "v", "dbus.Struct((100, 100), signature='uu')");
    row("variant in variant", "v", "dbus.UInt32(100, variant_level=2)");
    row("no variant", "u", "100");
    row("nothing", "", "");
}

void tst_MonitorEvaluation::deviceStateOfWrongTypeCountsAsState0()
{
    QFETCH(QString, signature);
    QFETCH(QString, answer);
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(60);
    m_networkManager.setAnswer(device(1), QStringLiteral("Get State"), signature,
                               QStringLiteral("ret = [%1]").arg(answer));
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(connection()), deviceLine(device(1)),
                                               stateLine(0), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::stateReplyOfWrongTypeIsOffline_data()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("answer");
    const auto row = [&](const char *name, const char *signature, const char *answer) {
        QTest::newRow(name) << QString::fromLatin1(signature) << QString::fromLatin1(answer);
    };
    row("signed", "i", "70");
    row("16 bits", "q", "70");
    row("64 bits", "t", "70");
    row("byte", "y", "70");
    row("floating point", "d", "70");
    row("string", "s", "'70'");
    row("boolean", "b", "True");
    row("list", "au", "[70]");
    row("structure", "(u)", "(70,)");
    row("variant", "v", "dbus.UInt32(70)");
    row("nothing", "", "");
}

void tst_MonitorEvaluation::stateReplyOfWrongTypeIsOffline()
{
    QFETCH(QString, signature);
    QFETCH(QString, answer);
    m_networkManager.setPrimaryConnection(QStringLiteral("/"));
    m_networkManager.setState(70);
    m_networkManager.setAnswer(FakeNetworkManager::rootPath(), QStringLiteral("state"), signature,
                               QStringLiteral("ret = [%1]").arg(answer));
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(QStringLiteral("/")), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::introspectionOfWrongTypeIsOffline_data()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("answer");
    const auto row = [&](const char *name, const char *signature, const char *answer) {
        QTest::newRow(name) << QString::fromLatin1(signature) << QString::fromLatin1(answer);
    };
    row("number", "u", "70");
    row("list", "as", "['<node/>']");
    row("nothing", "", "");
    row("empty text", "s", "''");
    row("no XML", "s", "'70' * 1000");
    row("torn XML", "s", "'<node><interface name=\"org.freedesktop.NetworkManager\"><signal'");
    row("other interface", "s", "'<node><interface name=\"a.b\"/></node>'");
    row("deep XML", "s", "'<node>' * 10000");
}

void tst_MonitorEvaluation::introspectionOfWrongTypeIsOffline()
{
    QFETCH(QString, signature);
    QFETCH(QString, answer);
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(60);
    m_networkManager.setAnswer(FakeNetworkManager::rootPath(), QStringLiteral("Introspect"),
                               signature, QStringLiteral("ret = [%1]").arg(answer));
    // Qt has lines of its own to say on what it misses.
    QCOMPARE(linesOfNewMonitor().filter(QStringLiteral("org.corvel.license.agent")),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

void tst_MonitorEvaluation::pathsOfAMegabyteAreFollowed()
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
    QVERIFY(linesOfNewMonitor() == online); // QCOMPARE would print them
    qInfo("blocked for %lld ms", blocked);

    m_networkManager.addDevice(second, 30);
    const QStringList offline({primaryLine(primary), deviceLine(first), stateLine(30),
                               deviceLine(second), stateLine(30), errorLine(), answerLine(false)});
    QVERIFY(linesOfNewMonitor() == offline);
}

void tst_MonitorEvaluation::hundredThousandDevicesAreWalkedToTheFirstActivated()
{
    m_networkManager.addDevice(device(1), 30);
    m_networkManager.addDevice(device(2), 100);
    QStringList devices;
    for (int number = 1; number <= 100000; ++number)
        devices += device(number);
    m_networkManager.addActiveConnection(connection(), devices);
    m_networkManager.setPrimaryConnection(connection());
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), deviceLine(device(1)), stateLine(30),
                          deviceLine(device(2)), stateLine(100), answerLine(true)}));
    qInfo("blocked for %lld ms", blocked);
}

void tst_MonitorEvaluation::everyDeviceOfALongListIsRead()
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
    QCOMPARE(linesOfNewMonitor(), lines);
    qInfo("blocked for %lld ms by %d devices", blocked, count);
}

// The bus throws out who sends such a message.
void tst_MonitorEvaluation::devicesBeyondTheBusLimitAreOffline()
{
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(70);
    m_networkManager.setAnswer(
        connection(), QStringLiteral("Get Devices"), QStringLiteral("v"),
        QStringLiteral("ret = [dbus.Array(['/' + 'a' * (1 << 20)] * 40, signature='o')]"));
    QCOMPARE(linesOfNewMonitor(),
             QStringList({primaryLine(connection()), errorLine(), answerLine(false)}));
    qInfo("blocked for %lld ms", blocked);
    QVERIFY(!QDBusConnection::systemBus().interface()->isServiceRegistered(
        QStringLiteral("org.freedesktop.NetworkManager")));
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
