// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentprocess.h"
#include "testprogram.h"

#include <QFile>
#include <QTest>

#include <csignal>

// When the agent stops at a signal.
class TestAgentSignals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopsOrderlyOnSignal_data();
    void stopsOrderlyOnSignal();
    void keepsASignalUntilThePluginsAreInitialized();
    void keepsASignalThatComesBeforeAnyPluginIsLoaded();
    void beginsNoThirdPhaseAfterASignal_data();
    void beginsNoThirdPhaseAfterASignal();
    void endsAtOnceOnASignalWhileItOnlyShows_data();
    void endsAtOnceOnASignalWhileItOnlyShows();
    void endsAtOnceOnASecondSignal();
    void signalsInterruptNothingThatPluginsDo_data();
    void signalsInterruptNothingThatPluginsDo();
    void handsNoIgnoredOrBlockedSignalToPrograms();
};

void TestAgentSignals::stopsOrderlyOnSignal_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("line");
    QTest::newRow("SIGTERM") << SIGTERM << s("stopping (SIGTERM)");
    QTest::newRow("SIGINT") << SIGINT << s("stopping (SIGINT)");
}

void TestAgentSignals::stopsOrderlyOnSignal()
{
    QFETCH(int, number);
    QFETCH(QString, line);
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    agent.sendSignal(number);
    QCOMPARE(agent.exitStatus(), 0);
    const QStringList end = {line, s("first: aboutToShutdown"), s("first: destructor"),
                             s("stopped First")};
    QCOMPARE(agent.output().mid(agent.output().size() - end.size()), end);
}

void TestAgentSignals::keepsASignalUntilThePluginsAreInitialized()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    // Two plugins run an event loop of their own. The first one does not lose the signal, and the
    // second one begins no third phase.
    agent.setBehaviour(s("first.initialize=raise second.initialize=spin "
                         "second.aboutToShutdown=spin"));
    QCOMPARE(agent.run(pluginDir(folder)), 0);
    const QStringList end = {
        s("first: initialize"),
        s("second: initialize"),
        s("first: extensionsInitialized"),
        s("second: extensionsInitialized"),
        s("stopping (SIGTERM)"),
        s("second: aboutToShutdown"),
        s("first: aboutToShutdown"),
        s("second: destructor"),
        s("stopped Second"),
        s("first: destructor"),
        s("stopped First"),
    };
    QCOMPARE(agent.output().mid(agent.output().size() - end.size()), end);
}

void TestAgentSignals::keepsASignalThatComesBeforeAnyPluginIsLoaded()
{
    // The agent writes more warnings than the pipe takes, and waits there for a reader.
    PluginFolder folder({s("first")});
    for (int i = 0; i < 100; ++i)
        folder.write(s("%1.so").arg(i), "This is not a library.\n");
    Pipe errors(folder.file(s("errors")));
    AgentProcess agent;
    agent.setErrorFile(folder.file(s("errors")));
    agent.start(pluginDir(folder));
    QVERIFY(errors.waitForText());
    agent.sendSignal(SIGTERM);
    errors.drain();
    QCOMPARE(agent.exitStatus(), 0);
    QCOMPARE(agent.output(), QStringList({
                                 s("first: library loaded"),
                                 s("first: constructor"),
                                 s("loaded First 1.1 (") + folder.file(s("first.so")) + s(")"),
                                 s("first: initialize"),
                                 s("first: extensionsInitialized"),
                                 s("stopping (SIGTERM)"),
                                 s("first: aboutToShutdown"),
                                 s("first: destructor"),
                                 s("stopped First"),
                             }));
}

void TestAgentSignals::beginsNoThirdPhaseAfterASignal_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::newRow("while the next is due") << s("raise-late");
    QTest::newRow("in an event loop of a plugin's own") << s("spin-raise");
}

void TestAgentSignals::beginsNoThirdPhaseAfterASignal()
{
    QFETCH(QString, behaviour);
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    // Stopping takes longer than the pause before the next third phase.
    agent.setBehaviour(s("first.delayedInitialize=") + behaviour +
                       s(" second.aboutToShutdown=spin"));
    QCOMPARE(agent.run(pluginDir(folder)), 0);
    const QStringList output = agent.output();
    QVERIFY(output.contains(s("first: delayedInitialize")));
    QVERIFY(output.contains(s("second: aboutToShutdown")));
    QVERIFY(!output.contains(s("second: delayedInitialize")));
}

void TestAgentSignals::endsAtOnceOnASignalWhileItOnlyShows_data()
{
    QTest::addColumn<QString>("option");
    QTest::newRow("--list") << s("--list");
    QTest::newRow("--help") << s("--help");
}

void TestAgentSignals::endsAtOnceOnASignalWhileItOnlyShows()
{
    QFETCH(QString, option);
    // The agent waits for a reader, as above.
    PluginFolder folder;
    for (int i = 0; i < 100; ++i)
        folder.write(s("%1.so").arg(i), "This is not a library.\n");
    Pipe errors(folder.file(s("errors")));
    AgentProcess agent;
    agent.setErrorFile(folder.file(s("errors")));
    agent.start(pluginDir(folder) + QStringList(option));
    QVERIFY(errors.waitForText());
    agent.sendSignal(SIGTERM);
    errors.drain();
    QCOMPARE(agent.exitStatus(), -1);
    QCOMPARE(agent.output(), QStringList());
}

void TestAgentSignals::endsAtOnceOnASecondSignal()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setBehaviour(s("first.initialize=raise second.initialize=raise"));
    QCOMPARE(agent.run(pluginDir(folder)), -1);
    QCOMPARE(agent.output().constLast(), s("second: initialize"));
}

void TestAgentSignals::signalsInterruptNothingThatPluginsDo_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGPIPE") << SIGPIPE;
}

void TestAgentSignals::signalsInterruptNothingThatPluginsDo()
{
    QFETCH(int, number);
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    agent.setBehaviour(s("first.initialize=read-%1").arg(number));
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitFor(s("first: extensionsInitialized")));
    agent.terminate();
    QVERIFY(agent.output().contains(s("first: has read 1")));
}

void TestAgentSignals::handsNoIgnoredOrBlockedSignalToPrograms()
{
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QFile status(s("/proc/%1/status").arg(agent.processId()));
    QVERIFY(status.open(QIODevice::ReadOnly));
    const QList<QByteArray> fields = status.readAll().simplified().split(' ');
    for (const char *set : {"SigBlk:", "SigIgn:"}) {
        bool hexadecimal = false;
        const quint64 signalsOfSet =
            fields.value(fields.indexOf(set) + 1).toULongLong(&hexadecimal, 16);
        QVERIFY(hexadecimal);
        for (const int number : {SIGINT, SIGPIPE, SIGTERM})
            QVERIFY2(!(signalsOfSet >> (number - 1) & 1), set);
    }
    QCOMPARE(agent.terminate(), 0);
}

SYNCSTATUS_TEST(TestAgentSignals)

#include "tst_agentsignals.moc"
