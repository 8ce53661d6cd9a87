// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "pluginfixture.h"
#include "testprogram.h"

#include <QTest>

using custompluginmanager::PluginBase;

namespace {

// A message handler that records the lines among the calls of the host.
void recordLine(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (qstrcmp(context.category, "org.corvel.license.agent") == 0)
        barehost::record(
            (type == QtDebugMsg ? QLatin1String("debug ") : QLatin1String("warning ")) + text);
}

} // namespace

// The operations that a host calls, from the first phase to the deletion.
class TestPluginLifecycle : public PluginFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initializeRegistersAndThenWritesOneLine();
    void initializeLeavesTheErrorStringAlone();
    void initializeAcceptsANullErrorString();
    void initializeTwiceRegistersTwice();
    void extensionsInitializedWarnsWithoutServicePlugin();
    void extensionsInitializedFindsServicePlugin();
    void delayedInitializeOnlyWritesALine();
    void wholeLifeHasOneOrderOfCallsAndLines_data();
    void wholeLifeHasOneOrderOfCallsAndLines();
    void operationsWorkInAnyOrder();
    void defaultsComeWithThePlugin();
    void shutdownIsTheHosts();
    void deletionRemovesThenDestroysTheImplementationObject();
    void deletionWithoutInitializeStillRemoves();
};

void TestPluginLifecycle::initializeRegistersAndThenWritesOneLine()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    QVERIFY(plugin->initialize(nullptr));
    QCOMPARE(barehost::takeCalls(), QStringList({QStringLiteral("instance"), callOf("add")}));
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  initialize sync status plugin")}));
}

void TestPluginLifecycle::initializeLeavesTheErrorStringAlone()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QString errorString = QStringLiteral("as it was");
    QVERIFY(plugin->initialize(&errorString));
    QCOMPARE(errorString, QStringLiteral("as it was"));
    QString null;
    QVERIFY(plugin->initialize(&null));
    QVERIFY(null.isNull());
}

void TestPluginLifecycle::initializeAcceptsANullErrorString()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->initialize(nullptr));
}

void TestPluginLifecycle::initializeTwiceRegistersTwice()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    QVERIFY(plugin->initialize(nullptr));
    QObject *const implement = barehost::lastImplement();
    QVERIFY(plugin->initialize(nullptr));
    QCOMPARE(barehost::lastImplement(), implement);
    QCOMPARE(barehost::takeCalls(), QStringList({QStringLiteral("instance"), callOf("add"),
                                                 QStringLiteral("instance"), callOf("add")}));
    const QString line = agentDebug("codestack:  initialize sync status plugin");
    QCOMPARE(m_log->takeLines(), QStringList({line, line}));
}

void TestPluginLifecycle::extensionsInitializedWarnsWithoutServicePlugin()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    plugin->extensionsInitialized();
    QCOMPARE(barehost::takeCalls(), QStringList({"instance", "find \"ServicePlugin\""}));
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  extensions initialized CmdPlugin"),
                          agentWarning("codestack:  serviceObject is empty")}));
}

void TestPluginLifecycle::extensionsInitializedFindsServicePlugin()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QObject service;
    barehost::setServicePlugin(&service);
    barehost::takeCalls();
    plugin->extensionsInitialized();
    QCOMPARE(barehost::takeCalls(), QStringList({"instance", "find \"ServicePlugin\""}));
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  extensions initialized CmdPlugin"),
                          agentDebug("codestack:  extensions initialized SyncStatusPlugin")}));
}

void TestPluginLifecycle::delayedInitializeOnlyWritesALine()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    QVERIFY(plugin->delayedInitialize());
    QCOMPARE(barehost::takeCalls(), QStringList());
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  delayed initialize sync status plugin")}));
}

void TestPluginLifecycle::wholeLifeHasOneOrderOfCallsAndLines_data()
{
    QTest::addColumn<bool>("withServicePlugin");
    QTest::newRow("ServicePlugin is there") << true;
    QTest::newRow("ServicePlugin is not there") << false;
}

void TestPluginLifecycle::wholeLifeHasOneOrderOfCallsAndLines()
{
    QFETCH(bool, withServicePlugin);
    QObject service;
    barehost::setServicePlugin(withServicePlugin ? &service : nullptr);
    const QtMessageHandler previous = qInstallMessageHandler(recordLine);
    PluginBase *const plugin = load();
    bool results = false;
    if (plugin) {
        results = plugin->initialize(nullptr);
        plugin->extensionsInitialized();
        results = plugin->delayedInitialize() && results;
        plugin->aboutToShutdown();
        delete plugin;
    }
    qInstallMessageHandler(previous);
    QVERIFY(plugin);
    QVERIFY(results);
    QCOMPARE(barehost::takeCalls(),
             QStringList({
                 QStringLiteral("PluginBase"),
                 QStringLiteral("instance"),
                 callOf("add"),
                 QStringLiteral("debug codestack:  initialize sync status plugin"),
                 QStringLiteral("debug codestack:  extensions initialized CmdPlugin"),
                 QStringLiteral("instance"),
                 QStringLiteral("find \"ServicePlugin\""),
                 withServicePlugin
                     ? QStringLiteral("debug codestack:  extensions initialized SyncStatusPlugin")
                     : QStringLiteral("warning codestack:  serviceObject is empty"),
                 QStringLiteral("debug codestack:  delayed initialize sync status plugin"),
                 QStringLiteral("aboutToShutdown"),
                 QStringLiteral("instance"),
                 callOf("remove"),
                 QStringLiteral("destroyed"),
                 QStringLiteral("~PluginBase"),
             }));
}

void TestPluginLifecycle::operationsWorkInAnyOrder()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->delayedInitialize());
    plugin->extensionsInitialized();
    QVERIFY(plugin->initialize(nullptr));
    plugin->extensionsInitialized();
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  delayed initialize sync status plugin"),
                          agentDebug("codestack:  extensions initialized CmdPlugin"),
                          agentWarning("codestack:  serviceObject is empty"),
                          agentDebug("codestack:  initialize sync status plugin"),
                          agentDebug("codestack:  extensions initialized CmdPlugin"),
                          agentWarning("codestack:  serviceObject is empty")}));
}

void TestPluginLifecycle::defaultsComeWithThePlugin()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    for (const QByteArray &original :
         {QByteArray(), QByteArray(""), QByteArray("some data"), QByteArray(70000, '\0')}) {
        QByteArray data = original;
        QVERIFY(!plugin->verify(data));
        QCOMPARE(data, original);
        QCOMPARE(data.isNull(), original.isNull());
    }
    QVERIFY(plugin->commandOptions().isEmpty());
    const QStringList arguments{"syncstatus-agent", "--anything", "at all"};
    QVERIFY(!plugin->parseArgumentOptions(arguments));
    QCOMPARE(arguments, QStringList({"syncstatus-agent", "--anything", "at all"}));
    QVERIFY(!plugin->parseArgumentOptions({}));
    QCOMPARE(barehost::takeCalls(), QStringList());
    QCOMPARE(m_log->takeLines(), QStringList());
}

void TestPluginLifecycle::shutdownIsTheHosts()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    plugin->aboutToShutdown();
    QCOMPARE(barehost::takeCalls(), QStringList({"aboutToShutdown"}));
}

void TestPluginLifecycle::deletionRemovesThenDestroysTheImplementationObject()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->initialize(nullptr));
    barehost::takeCalls();
    m_log->take();
    delete plugin;
    QCOMPARE(barehost::takeCalls(),
             QStringList({QStringLiteral("instance"), callOf("remove"), QStringLiteral("destroyed"),
                          QStringLiteral("~PluginBase")}));
    QCOMPARE(m_log->takeLines(), QStringList());
}

void TestPluginLifecycle::deletionWithoutInitializeStillRemoves()
{
    delete load();
    QCOMPARE(
        barehost::takeCalls(),
        QStringList({QStringLiteral("PluginBase"), QStringLiteral("instance"), callOf("remove"),
                     QStringLiteral("destroyed"), QStringLiteral("~PluginBase")}));
}

SYNCSTATUS_TEST(TestPluginLifecycle)

#include "tst_pluginlifecycle.moc"
