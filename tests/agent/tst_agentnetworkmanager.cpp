// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentprocess.h"
#include "patience.h"
#include "testprogram.h"

#include <QProcess>
#include <QTest>

namespace {

QByteArray nmcli(const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(s("nmcli"), arguments);
    process.waitForFinished(patience);
    return process.readAllStandardOutput().trimmed();
}

/// Takes the uplink up or down. Returns whether NetworkManager has reached the new state.
bool setUplink(bool up)
{
    const QByteArray wanted = up ? "connected" : "disconnected";
    const auto reached = [&] {
        return nmcli({s("--terse"), s("--fields"), s("STATE"), s("general")}) == wanted;
    };
    if (reached())
        return true;
    nmcli({s("connection"), up ? s("up") : s("down"), s("uplink")});
    return QTest::qWaitFor(reached, patience);
}

} // namespace

// The agent with SyncStatus and the example beside a real NetworkManager, in scripts/sandbox.
class TestAgentNetworkManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void tellsItsAnswerAtStartAndEachGain_data();
    void tellsItsAnswerAtStartAndEachGain();
    void tellsAGainFromARestartedNetworkManager();
};

void TestAgentNetworkManager::initTestCase()
{
    if (qEnvironmentVariableIsEmpty("SYNCSTATUS_SANDBOX_NETWORKMANAGER"))
        QSKIP("to be run by scripts/sandbox");
}

void TestAgentNetworkManager::tellsItsAnswerAtStartAndEachGain_data()
{
    QTest::addColumn<bool>("onlineAtStart");
    QTest::addColumn<QString>("answer");
    QTest::newRow("online at start") << true << s("online: yes");
    QTest::newRow("offline at start") << false << s("online: not seen so far");
}

void TestAgentNetworkManager::tellsItsAnswerAtStartAndEachGain()
{
    QFETCH(bool, onlineAtStart);
    QFETCH(QString, answer);
    QVERIFY(setUplink(onlineAtStart));
    AgentProcess agent;
    agent.start({s("--plugin-dir"), s(AGENT_PLUGIN_DIR)});
    QVERIFY(agent.waitFor(answer));
    QStringList gains;
    for (int times = 1; times <= 3; ++times) {
        QVERIFY(setUplink(false));
        QVERIFY(setUplink(true));
        QVERIFY(agent.waitFor(s("gained connectivity"), times));
        gains += {s("ServicePlugin: gained connectivity"), s("gained connectivity")};
    }
    QCOMPARE(agent.terminate(), 0);

    QCOMPARE(agent.output(),
             QStringList({
                 s("loaded ServicePlugin 1.0.0 (" AGENT_PLUGIN_DIR "/libserviceplugin.so)"),
                 s("loaded SyncStatus 1.0.0 (" AGENT_PLUGIN_DIR "/libsyncstatus.so)"),
                 s("ServicePlugin: found SyncStatus"),
                 s("ServicePlugin: ") + answer,
                 s("started ServicePlugin"),
                 s("started SyncStatus"),
                 answer,
             }) + gains +
                 QStringList({
                     s("stopping (SIGTERM)"),
                     s("stopped SyncStatus"),
                     s("stopped ServicePlugin"),
                 }));
    QCOMPARE(agent.errors(), QStringList());
}

void TestAgentNetworkManager::tellsAGainFromARestartedNetworkManager()
{
    QVERIFY(setUplink(false));
    AgentProcess agent;
    agent.start({s("--plugin-dir"), s(AGENT_PLUGIN_DIR)});
    QVERIFY(agent.waitFor(s("online: not seen so far")));
    const QString control = QString::fromLocal8Bit(qgetenv("SYNCSTATUS_SANDBOX_NETWORKMANAGER"));
    QCOMPARE(QProcess::execute(control, {s("stop")}), 0);
    QCOMPARE(QProcess::execute(control, {s("start")}), 0);
    QVERIFY(setUplink(true));
    QVERIFY(agent.waitFor(s("ServicePlugin: gained connectivity")));
    QVERIFY(agent.waitFor(s("gained connectivity")));
    QCOMPARE(agent.terminate(), 0);
}

SYNCSTATUS_TEST(TestAgentNetworkManager)

#include "tst_agentnetworkmanager.moc"
