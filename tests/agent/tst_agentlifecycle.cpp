// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentprocess.h"
#include "patience.h"
#include "testprogram.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <fcntl.h>

// How the agent takes plugins through their lifecycle, and what it writes meanwhile.
class TestAgentLifecycle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void drivesThePhasesInOrderAndStopsInReverse();
    void pausesAndYieldsBeforeEachDelayedInitialize();
    void namesEachState();
    void isSilentAboutStatesByDefault();
    void writesInTheEncodingOfTheLocale();
    void stopsOrderlyWhenNobodyReadsItsOutput();
    void writesIntoNothingElseWhenStandardDescriptorsAreClosed_data();
    void writesIntoNothingElseWhenStandardDescriptorsAreClosed();
    void handsNoDescriptorToPrograms();
    void runsACommandOnceWhereItsCallerIgnoresChildren();
};

void TestAgentLifecycle::drivesThePhasesInOrderAndStopsInReverse()
{
    // The order is that of the files, capitals first, and not that of the names.
    PluginFolder folder;
    folder.add(s("second"), s("C.so"));
    folder.add(s("third"), s("a.so"));
    folder.add(s("first"), s("b.so"));
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);

    const auto loading = [&folder](const QString &file, const QString &name) {
        return QStringList({file + s(": library loaded"), file + s(": constructor"),
                            s("loaded %1 (%2)").arg(name, folder.file(file + s(".so")))});
    };
    const QStringList loaded = loading(s("C"), s("Second 2.2")) + loading(s("a"), s("Third 3.3")) +
                               loading(s("b"), s("First 1.1"));
    const QStringList phases = {
        s("C: initialize"),
        s("a: initialize"),
        s("b: initialize"),
        s("C: extensionsInitialized"),
        s("a: extensionsInitialized"),
        s("b: extensionsInitialized"),
        s("C: delayedInitialize"),
        s("started Second"),
        s("a: delayedInitialize"),
        s("started Third"),
        s("b: delayedInitialize"),
        s("started First"),
        s("online: not seen so far"),
    };
    const QStringList stopping = {s("stopping (SIGTERM)"), s("b: aboutToShutdown"),
                                  s("a: aboutToShutdown"), s("C: aboutToShutdown"),
                                  s("b: destructor"),      s("stopped First"),
                                  s("a: destructor"),      s("stopped Third"),
                                  s("C: destructor"),      s("stopped Second")};
    QCOMPARE(agent.output(), loaded + phases + stopping);
    QCOMPARE(agent.errors(), QStringList());
}

void TestAgentLifecycle::pausesAndYieldsBeforeEachDelayedInitialize()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setBehaviour(s("first.initialize=post first.delayedInitialize=post "
                         "first.extensionsInitialized=clock second.delayedInitialize=clock"));
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);

    QVector<qint64> times;
    QStringList phases;
    const QStringList output = agent.output();
    for (const QString &line : output) {
        if (line.contains(s(": at ")))
            times += line.section(QLatin1Char(' '), -1).toLongLong();
        else if (line.contains(s("nitialize")) || line.contains(s("event loop")))
            phases += line;
    }
    QCOMPARE(phases,
             QStringList({s("first: initialize"), s("second: initialize"),
                          s("first: extensionsInitialized"), s("second: extensionsInitialized"),
                          s("first: event loop"), s("first: delayedInitialize"),
                          s("first: event loop"), s("second: delayedInitialize")}));
    QCOMPARE(times.size(), 2);
    // Two pauses of 20 milliseconds. A coarse timer may be early by a twentieth.
    QVERIFY2(times[1] - times[0] >= 37, qPrintable(QString::number(times[1] - times[0])));
}

void TestAgentLifecycle::namesEachState()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setLoggingRules(s("*=false;syncstatus.agent=true"));
    agent.setBehaviour(s("second.extensionsInitialized=throw"));
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors(),
             agentMessages({s("First: Found"), s("Second: Found"), s("First: Loaded"),
                            s("Second: Loaded"), s("First: Initialized"), s("Second: Initialized"),
                            s("First: ExtensionsInitialized"),
                            s("Second: extensionsInitialized: threw: no luck"), s("First: Running"),
                            s("Second: Stopped"), s("First: Stopped"), s("Second: Deleted"),
                            s("First: Deleted")}));
}

void TestAgentLifecycle::isSilentAboutStatesByDefault()
{
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    // No settings of a distribution or of the tests switch the lines off.
    agent.setLoggingRules(QString());
    agent.setEnvironment(s("XDG_CONFIG_HOME"), folder.path());
    agent.setEnvironment(s("XDG_CONFIG_DIRS"), folder.path());
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors().filter(s("syncstatus.agent: ")), QStringList());
}

void TestAgentLifecycle::writesInTheEncodingOfTheLocale()
{
    PluginFolder folder({s("second")});
    folder.add(s("first"), s("erste-für-alle.so"));
    AgentProcess agent;
    agent.setBehaviour(s("second.initialize=throw-foreign"));
    agent.start(pluginDir(folder) + QStringList({s("--plugin-dir"), s("/nonexistent/für alle")}));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.output().filter(s("loaded First")),
             QStringList(s("loaded First 1.1 (") + folder.file(s("erste-für-alle.so")) + s(")")));
    QCOMPARE(agent.errors(),
             agentMessages({s("plugin directory /nonexistent/für alle does not exist"),
                            s("Second: initialize: threw: kein Glück")}));
}

void TestAgentLifecycle::stopsOrderlyWhenNobodyReadsItsOutput()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setLoggingRules(s("*=false;syncstatus.agent=true"));
    agent.setOutputFile(folder.file(s("output")));
    {
        // The pipe is full: the agent's first line waits for a reader, and the reader goes.
        Pipe output(folder.file(s("output")));
        output.fill();
        agent.start(pluginDir(folder));
    }
    QCOMPARE(agent.exitStatus(), 1);
    QCOMPARE(agent.errors(),
             agentMessages({s("First: Found"), s("Second: Found"), s("First: Loaded"),
                            s("cannot write to standard output: Broken pipe"), s("Second: Loaded"),
                            s("First: Initialized"), s("Second: Initialized"),
                            s("First: ExtensionsInitialized"), s("Second: ExtensionsInitialized"),
                            s("Second: Stopped"), s("First: Stopped"), s("Second: Deleted"),
                            s("First: Deleted")}));
}

void TestAgentLifecycle::writesIntoNothingElseWhenStandardDescriptorsAreClosed_data()
{
    QTest::addColumn<QString>("redirections");
    QTest::addColumn<QVector<int>>("closed");
    QTest::newRow("output") << s(">&-") << QVector<int>({1});
    // Here the pipe of the signals could get both descriptors, and take the lines for signals.
    QTest::newRow("input and output") << s("<&- >&-") << QVector<int>({0, 1});
}

void TestAgentLifecycle::writesIntoNothingElseWhenStandardDescriptorsAreClosed()
{
    QFETCH(QString, redirections);
    QFETCH(QVector<int>, closed);
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    agent.setLoggingRules(s("*=false;syncstatus.agent=true"));
    agent.start(QStringList({s("-c"), s(R"(exec "$0" "$@" )") + redirections, s(AGENT_PROGRAM)}) +
                    pluginDir(folder),
                s("/bin/sh"));
    const QStringList cannot(s("cannot write to standard output: Bad file descriptor"));
    const QStringList up =
        agentMessages(QStringList({s("First: Found"), s("First: Loaded")}) + cannot +
                      QStringList({s("First: Initialized"), s("First: ExtensionsInitialized"),
                                   s("First: Running")}) +
                      cannot + cannot); // "started First", and that it is not online
    QTRY_COMPARE_WITH_TIMEOUT(agent.errors(), up, patience);
    for (const int descriptor : qAsConst(closed))
        QCOMPARE(QFile::symLinkTarget(s("/proc/%1/fd/%2").arg(agent.processId()).arg(descriptor)),
                 s("/dev/null"));
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(
        agent.errors().mid(up.size()),
        agentMessages(cannot + QStringList({s("First: Stopped"), s("First: Deleted")}) + cannot));
}

void TestAgentLifecycle::handsNoDescriptorToPrograms()
{
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    const QDir descriptors(s("/proc/%1/fdinfo").arg(agent.processId()));
    const QStringList names = descriptors.entryList(QDir::Files);
    // The kind and number of the open file: Qt makes a path of the link's text.
    const auto opened = [](const QString &process, const QString &descriptor) {
        return QFile::symLinkTarget(s("/proc/") + process + s("/fd/") + descriptor)
            .section(QLatin1Char('/'), -1);
    };
    int checked = 0;
    for (const QString &name : names) {
        // Not those that the agent was started with.
        if (name.toInt() <= 2 ||
            opened(QString::number(agent.processId()), name) == opened(s("self"), name))
            continue;
        QFile file(descriptors.filePath(name));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> fields = file.readAll().simplified().split(' ');
        bool octal = false;
        const int flags = fields.value(fields.indexOf("flags:") + 1).toInt(&octal, 8);
        QVERIFY(octal);
        QVERIFY2(flags & O_CLOEXEC, qPrintable(name));
        ++checked;
    }
    QVERIFY(checked >= 2); // the pipe of the signals at least
    QCOMPARE(agent.terminate(), 0);
}

void TestAgentLifecycle::runsACommandOnceWhereItsCallerIgnoresChildren()
{
    const PluginFolder folder({s("command")});
    AgentProcess agent;
    agent.setEnvironment(s("TEST_COMMAND"),
                         s("echo ran >>'%1'; echo done").arg(folder.file(s("ran"))));
    agent.start(QStringList({s("--ignore-signal=CHLD"), s(AGENT_PROGRAM)}) + pluginDir(folder),
                s("env"));
    QVERIFY(agent.waitFor(s("command: \"done\"")));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QFile ran(folder.file(s("ran")));
    QVERIFY(ran.open(QIODevice::ReadOnly));
    QCOMPARE(ran.readAll(), QByteArray("ran\n"));
}

SYNCSTATUS_TEST(TestAgentLifecycle)

#include "tst_agentlifecycle.moc"
