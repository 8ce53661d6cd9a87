// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentprocess.h"
#include "fakenetworkmanager.h"
#include "patience.h"
#include "privatebus.h"
#include "testprogram.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopedPointer>
#include <QTest>

namespace {

constexpr quint32 disconnected = 20;
constexpr quint32 connectedSite = 60;
constexpr quint32 connectedGlobal = 70;

/// Arguments for an agent with SyncStatus and the example, in the build folder.
QStringList realPlugins(const QStringList &more = {})
{
    return QStringList({s("--plugin-dir"), s(AGENT_PLUGIN_DIR)}) + more;
}

/// The sonames of the libraries that \a file itself needs.
QStringList neededBy(const QString &file)
{
    QProcess readelf;
    readelf.start(s("readelf"), {s("--wide"), s("--dynamic"), file});
    readelf.waitForFinished();
    QStringList found;
    const auto lines = QString::fromUtf8(readelf.readAllStandardOutput()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.contains(s("(NEEDED)")))
            found += line.section(QLatin1Char('['), 1).section(QLatin1Char(']'), 0, 0);
    }
    return found;
}

/// How many sockets the process \a id has open.
int socketsOf(qint64 id)
{
    const QDir descriptors(s("/proc/%1/fd").arg(id));
    int sockets = 0;
    const auto links =
        descriptors.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &link : links)
        sockets += link.symLinkTarget().contains(s("socket:"));
    return sockets;
}

/// How many copies of the libraries whose file names start with \a name the process \a id has.
int loadedCopies(qint64 id, const QString &name)
{
    QFile maps(s("/proc/%1/maps").arg(id));
    if (!maps.open(QIODevice::ReadOnly))
        qWarning() << maps.fileName() << maps.errorString();
    int copies = 0;
    const auto lines = QString::fromUtf8(maps.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QStringList fields = line.simplified().split(QLatin1Char(' '));
        // Each copy maps the beginning of its file once. An emulator maps no code as executable.
        if (fields.value(2).toULongLong(nullptr, 16) == 0 &&
            fields.value(5).section(QLatin1Char('/'), -1).startsWith(name))
            ++copies;
    }
    return copies;
}

} // namespace

// The agent with SyncStatus and the example plugin, and a scripted NetworkManager on a private bus.
class TestAgentNetwork : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void tellsThatTheMachineIsOnline();
    void tellsEachGainAndNeverALoss();
    void runsWithoutNetworkManager();
    void outlivesTheBus();
    void stopsWhenNobodyReadsItsOutputAnyMore();
    void runsWithoutTheExample();
    void exampleRunsWithoutSyncStatus();
    void exampleIsQuietWhenAskedTo();
    void exampleDoesNotLinkTheLibrary();
    void showsTheLibrarysLinesOnStandardError();

    void hasLibcryptoInItsProcess();
    void hasOneCopyOfTheLibrary();

private:
    void setOffline();

    PrivateBus m_bus;
    FakeNetworkManager m_networkManager;
};

void TestAgentNetwork::initTestCase()
{
    QVERIFY(m_bus.start());
}

void TestAgentNetwork::init()
{
    QVERIFY(m_networkManager.start());
}

void TestAgentNetwork::cleanup()
{
    m_networkManager.stop();
}

void TestAgentNetwork::setOffline()
{
    m_networkManager.setPrimaryConnection(s("/"));
    m_networkManager.setState(disconnected);
}

void TestAgentNetwork::tellsThatTheMachineIsOnline()
{
    m_networkManager.setPrimaryConnection(s("/"));
    m_networkManager.setState(connectedGlobal);
    AgentProcess agent;
    agent.start(realPlugins());
    QVERIFY(agent.waitFor(s("online: yes")));
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.output(),
             QStringList({
                 s("loaded ServicePlugin 1.0.0 (" AGENT_PLUGIN_DIR "/libserviceplugin.so)"),
                 s("loaded SyncStatus 1.0.0 (" AGENT_PLUGIN_DIR "/libsyncstatus.so)"),
                 s("ServicePlugin: found SyncStatus"),
                 s("ServicePlugin: online: yes"),
                 s("started ServicePlugin"),
                 s("started SyncStatus"),
                 s("online: yes"),
                 s("stopping (SIGTERM)"),
                 s("stopped SyncStatus"),
                 s("stopped ServicePlugin"),
             }));
    QCOMPARE(agent.errors(), QStringList());
}

void TestAgentNetwork::tellsEachGainAndNeverALoss()
{
    setOffline();
    AgentProcess agent;
    agent.start(realPlugins());
    QVERIFY(agent.waitFor(s("online: not seen so far")));
    m_networkManager.emitStates({connectedSite, connectedGlobal, disconnected, connectedGlobal,
                                 connectedGlobal, disconnected});
    QVERIFY(agent.waitFor(s("gained connectivity"), 3));
    QCOMPARE(agent.terminate(), 0);

    const QStringList output = agent.output();
    const QStringList seen =
        output.mid(output.indexOf(s("ServicePlugin: online: not seen so far")));
    QCOMPARE(seen, QStringList({
                       s("ServicePlugin: online: not seen so far"),
                       s("started ServicePlugin"),
                       s("started SyncStatus"),
                       s("online: not seen so far"),
                       s("ServicePlugin: gained connectivity"),
                       s("gained connectivity"),
                       s("ServicePlugin: gained connectivity"),
                       s("gained connectivity"),
                       s("ServicePlugin: gained connectivity"),
                       s("gained connectivity"),
                       s("stopping (SIGTERM)"),
                       s("stopped SyncStatus"),
                       s("stopped ServicePlugin"),
                   }));
}

void TestAgentNetwork::runsWithoutNetworkManager()
{
    m_networkManager.stop();
    AgentProcess agent;
    agent.start(realPlugins());
    QVERIFY(agent.waitFor(s("online: not seen so far")));
    QCOMPARE(agent.terminate(), 0);
}

void TestAgentNetwork::outlivesTheBus()
{
    m_networkManager.setConnectedDevices({100});
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    // It asks for the flag when there is no bus any more.
    agent.setBehaviour(s("first.aboutToShutdown=ask"));
    agent.start(realPlugins({s("--plugin-dir"), folder.path()}));
    QVERIFY(agent.waitFor(s("online: yes")));
    QCOMPARE(socketsOf(agent.processId()), 1);

    m_networkManager.stop();
    m_bus.kill();
    QTRY_COMPARE_WITH_TIMEOUT(socketsOf(agent.processId()), 0, patience);
    QCOMPARE(agent.terminate(), 0);
    const QStringList output = agent.output();
    QCOMPARE(output.mid(output.indexOf(s("online: yes")) + 1), QStringList({
                                                                   s("stopping (SIGTERM)"),
                                                                   s("first: aboutToShutdown"),
                                                                   s("first: online"),
                                                                   s("first: destructor"),
                                                                   s("stopped First"),
                                                                   s("stopped SyncStatus"),
                                                                   s("stopped ServicePlugin"),
                                                               }));
    QCOMPARE(agent.errors(), QStringList());
    QVERIFY(m_bus.start()); // for the next test
}

void TestAgentNetwork::stopsWhenNobodyReadsItsOutputAnyMore()
{
    setOffline();
    const PluginFolder folder;
    QScopedPointer<Pipe> output(new Pipe(folder.file(s("output"))));
    AgentProcess agent;
    agent.setOutputFile(folder.file(s("output")));
    agent.setLoggingRules(s("*=false;syncstatus.agent=true;org.corvel.license.agent=true"));
    agent.start(realPlugins({s("--disable"), s("ServicePlugin")}));
    const QString asked = s("org.corvel.license.agent: codestack:  getNetworkState: false ");
    QTRY_VERIFY_WITH_TIMEOUT(agent.errors().contains(asked), patience);
    output.reset();
    m_networkManager.emitStates({connectedGlobal});
    QCOMPARE(agent.exitStatus(), 1);
    const QStringList errors = agent.errors();
    const QStringList end = agentMessages({s("cannot write to standard output: Broken pipe"),
                                           s("SyncStatus: Stopped"), s("SyncStatus: Deleted")});
    QCOMPARE(errors.mid(errors.size() - end.size()), end);
}

void TestAgentNetwork::runsWithoutTheExample()
{
    setOffline();
    AgentProcess agent;
    agent.start(realPlugins({s("--disable"), s("ServicePlugin")}));
    QVERIFY(agent.waitFor(s("online: not seen so far")));
    m_networkManager.emitStates({connectedGlobal});
    QVERIFY(agent.waitFor(s("gained connectivity")));
    QCOMPARE(agent.terminate(), 0);
    QVERIFY(agent.output().contains(s("started SyncStatus")));
    QCOMPARE(agent.output().filter(s("ServicePlugin:")), QStringList());
}

void TestAgentNetwork::exampleRunsWithoutSyncStatus()
{
    setOffline();
    AgentProcess agent;
    agent.start(realPlugins({s("--disable"), s("SyncStatus")}));
    QVERIFY(agent.waitFor(s("online: not seen so far")));
    QCOMPARE(agent.terminate(), 0);
    QVERIFY(agent.output().contains(s("started ServicePlugin")));
    QCOMPARE(agent.output().filter(s("ServicePlugin:")),
             QStringList(s("ServicePlugin: no SyncStatus here, nothing to follow")));
}

void TestAgentNetwork::exampleIsQuietWhenAskedTo()
{
    setOffline();
    AgentProcess agent;
    agent.start(realPlugins({s("--service-quiet")}));
    QVERIFY(agent.waitFor(s("online: not seen so far")));
    m_networkManager.emitStates({connectedGlobal});
    QVERIFY(agent.waitFor(s("gained connectivity")));
    QCOMPARE(agent.terminate(), 0);
    QVERIFY(agent.output().contains(s("started ServicePlugin")));
    QCOMPARE(agent.output().filter(s("ServicePlugin:")), QStringList());
}

void TestAgentNetwork::showsTheLibrarysLinesOnStandardError()
{
    setOffline();
    AgentProcess agent;
    agent.setLoggingRules(s("*=false;org.corvel.license.agent=true"));
    agent.start(realPlugins({s("--disable"), s("ServicePlugin")}));
    QVERIFY(agent.waitFor(s("online: not seen so far")));
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors(),
             QStringList({
                 s("org.corvel.license.agent: codestack:  initialize sync status plugin"),
                 s("org.corvel.license.agent: codestack:  extensions initialized CmdPlugin"),
                 s("org.corvel.license.agent: codestack:  serviceObject is empty"),
                 s("org.corvel.license.agent: codestack:  delayed initialize sync status plugin"),
                 s("org.corvel.license.agent: codestack:  get primary connection path: \"/\""),
                 s("org.corvel.license.agent: codestack:  get network state error!"),
                 s("org.corvel.license.agent: codestack:  getNetworkState: false "),
                 QString(), // that line ends with a newline of its own
             }));
}

void TestAgentNetwork::exampleDoesNotLinkTheLibrary()
{
    const QStringList needed = neededBy(s(AGENT_PLUGIN_DIR "/libserviceplugin.so"));
    QVERIFY2(!needed.filter(s("libcustompluginmanager.so")).isEmpty(),
             qPrintable(needed.join(QLatin1Char(' '))));
    QCOMPARE(needed.filter(s("syncstatus")), QStringList());
    QCOMPARE(needed.filter(s("Qt5DBus")), QStringList());
}

void TestAgentNetwork::hasLibcryptoInItsProcess()
{
    // The program itself needs it: it is not enough that another library of this machine does.
    QCOMPARE(neededBy(s(AGENT_PROGRAM)).filter(s("libcrypto.so")).size(), 1);
    setOffline();
    AgentProcess agent;
    agent.start(realPlugins());
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(loadedCopies(agent.processId(), s("libcrypto.so")), 1);
    QCOMPARE(agent.terminate(), 0);
}

void TestAgentNetwork::hasOneCopyOfTheLibrary()
{
    // The program links the library and loads it as a plugin, under two names.
    QCOMPARE(neededBy(s(AGENT_PROGRAM)).filter(s("libsyncstatus.so")).size(), 1);
    setOffline();
    AgentProcess agent;
    agent.start(realPlugins());
    QVERIFY(agent.waitUntilUp());
    QVERIFY(agent.output().contains(s("started SyncStatus")));
    QCOMPARE(loadedCopies(agent.processId(), s("libsyncstatus.so")), 1);
    QCOMPARE(agent.terminate(), 0);
}

SYNCSTATUS_TEST(TestAgentNetwork)

#include "tst_agentnetwork.moc"
