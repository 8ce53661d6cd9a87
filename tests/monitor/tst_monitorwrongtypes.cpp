// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "fakenetworkmanager.h"
#include "monitorlines.h"
#include "newmonitor.h"
#include "privatebus.h"
#include "testprogram.h"

#include <QProcess>
#include <QTest>

namespace {

void addAnswerColumns()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("answer");
}

void row(const char *name, const char *signature, const QString &answer)
{
    QTest::newRow(name) << QString::fromLatin1(signature) << answer;
}

} // namespace

// What a new monitor makes of answers that have other D-Bus types than NetworkManager's.
class TestMonitorWrongTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

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

private:
    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void TestMonitorWrongTypes::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_networkManager.start());
}

void TestMonitorWrongTypes::onlyADeclaredObjectPathIsRead_data()
{
    QTest::addColumn<QString>("type");
    for (const char *type :
         {"y", "b",  "n",  "q",  "i",  "u",   "x",     "t",    "d",   "s", "o", "g", "h",
          "v", "as", "ao", "aq", "av", "aas", "a{sv}", "(ii)", "(o)", "z", "a", "(", "{sv}"})
        QTest::newRow(type) << QString::fromLatin1(type);
    QTest::newRow("empty") << QString();
    QTest::newRow("300 characters") << QStringLiteral("(%1)").arg(QString(298, QLatin1Char('i')));
}

// The introspection declares the same type for all members that the monitor uses. Each row starts
// a process: Qt keeps an introspection as long as a process lives, or ends the process.
void TestMonitorWrongTypes::onlyADeclaredObjectPathIsRead()
{
    QFETCH(QString, type);
    m_networkManager.setPrimaryConnection(FakeNetworkManager::connectionPath());
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
    // Qt also writes a line about a signal that it misses.
    lines = lines.filter(QStringLiteral("org.corvel.license.agent"));
    const QString path =
        type == QLatin1String("o") ? FakeNetworkManager::connectionPath() : QString();
    QCOMPARE(lines, QStringList(primaryLine(path).remove(QStringLiteral("warning "))));
}

// Each wrong answer would count as connectivity if it were read. The introspection is right, so Qt
// does not expect these answers.
void TestMonitorWrongTypes::primaryConnectionOfWrongTypeIsNotRead_data()
{
    addAnswerColumns();
    const QString path = QStringLiteral("'%1'").arg(FakeNetworkManager::connectionPath());
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

void TestMonitorWrongTypes::primaryConnectionOfWrongTypeIsNotRead()
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

void TestMonitorWrongTypes::devicesOfWrongTypeAreNotRead_data()
{
    addAnswerColumns();
    const QString path = QStringLiteral("'%1'").arg(FakeNetworkManager::devicePath(1));
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

void TestMonitorWrongTypes::devicesOfWrongTypeAreNotRead()
{
    QFETCH(QString, signature);
    QFETCH(QString, answer);
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(60);
    m_networkManager.setAnswer(FakeNetworkManager::connectionPath(), QStringLiteral("Get Devices"),
                               signature, QStringLiteral("ret = [%1]").arg(answer));
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(FakeNetworkManager::connectionPath()),
                                               errorLine(), answerLine(false)}));
}

void TestMonitorWrongTypes::deviceStateOfWrongTypeCountsAsState0_data()
{
    addAnswerColumns();
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

void TestMonitorWrongTypes::deviceStateOfWrongTypeCountsAsState0()
{
    QFETCH(QString, signature);
    QFETCH(QString, answer);
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(60);
    m_networkManager.setAnswer(FakeNetworkManager::devicePath(1), QStringLiteral("Get State"),
                               signature, QStringLiteral("ret = [%1]").arg(answer));
    QCOMPARE(linesOfNewMonitor(), QStringList({primaryLine(FakeNetworkManager::connectionPath()),
                                               deviceLine(FakeNetworkManager::devicePath(1)),
                                               stateLine(0), errorLine(), answerLine(false)}));
}

void TestMonitorWrongTypes::stateReplyOfWrongTypeIsOffline_data()
{
    addAnswerColumns();
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

void TestMonitorWrongTypes::stateReplyOfWrongTypeIsOffline()
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

void TestMonitorWrongTypes::introspectionOfWrongTypeIsOffline_data()
{
    addAnswerColumns();
    row("number", "u", "70");
    row("list", "as", "['<node/>']");
    row("nothing", "", "");
    row("empty text", "s", "''");
    row("no XML", "s", "'70' * 1000");
    row("torn XML", "s", "'<node><interface name=\"org.freedesktop.NetworkManager\"><signal'");
    row("other interface", "s", "'<node><interface name=\"a.b\"/></node>'");
    row("deep XML", "s", "'<node>' * 10000");
}

void TestMonitorWrongTypes::introspectionOfWrongTypeIsOffline()
{
    QFETCH(QString, signature);
    QFETCH(QString, answer);
    m_networkManager.setConnectedDevices({100});
    m_networkManager.setState(60);
    m_networkManager.setAnswer(FakeNetworkManager::rootPath(), QStringLiteral("Introspect"),
                               signature, QStringLiteral("ret = [%1]").arg(answer));
    // Qt also writes lines about what it misses.
    QCOMPARE(linesOfNewMonitor().filter(QStringLiteral("org.corvel.license.agent")),
             QStringList({primaryLine(QString()), errorLine(), answerLine(false)}));
}

SYNCSTATUS_ISOLATED_TEST(TestMonitorWrongTypes)

#include "tst_monitorwrongtypes.moc"
