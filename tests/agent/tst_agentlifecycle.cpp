// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentprocess.h"
#include "patience.h"

#include <QDir>
#include <QFile>
#include <QPluginLoader>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>

#include <csignal>

namespace {

QString s(const char *text)
{
    return QString::fromUtf8(text);
}

QStringList pluginDir(const PluginFolder &folder)
{
    return {s("--plugin-dir"), folder.path()};
}

/// What Qt's plugin loader itself has to say against \a file.
QString loaderError(const QString &file)
{
    QPluginLoader loader(file);
    loader.setLoadHints(QLibrary::ResolveAllSymbolsHint);
    if (loader.load())
        return s("can be loaded");
    return loader.errorString();
}

} // namespace

// How the agent takes plugins through their lifecycle, and what it does about those that fail.
class AgentLifecycle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void drivesThePhasesInOrderAndStopsInReverse();
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
    void pausesAndYieldsBeforeEachDelayedInitialize();
    void namesEachState();
    void isSilentAboutStatesByDefault();
    void writesInTheEncodingOfTheLocale();
    void stopsOrderlyWhenNobodyReadsItsOutput();
    void writesIntoNothingElseWhenStandardDescriptorsAreClosed_data();
    void writesIntoNothingElseWhenStandardDescriptorsAreClosed();
    void handsNoDescriptorToPrograms();
    void handsNoIgnoredOrBlockedSignalToPrograms();

    void runsTheGoodPluginsAmongAllSortsOfFiles();
    void keepsAFailureToItsPlugin_data();
    void keepsAFailureToItsPlugin();
    void nothingOfAFailedPluginIsOfferedToOthers_data();
    void nothingOfAFailedPluginIsOfferedToOthers();
    void refusesADamagedLibrary_data();
    void refusesADamagedLibrary();
    void doesNotWaitForAPipe();
    void runsACommandOnceWhereItsCallerIgnoresChildren();
    void endsWhenNothingRuns_data();
    void endsWhenNothingRuns();
};

void AgentLifecycle::drivesThePhasesInOrderAndStopsInReverse()
{
    // Not in the order of the names; the order is that of the files,
    // capitals first.
    PluginFolder folder;
    folder.add(s("second"), s("C.so"));
    folder.add(s("third"), s("a.so"));
    folder.add(s("first"), s("b.so"));
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);

    const QStringList expected = {
        s("C: library loaded"),
        s("C: constructor"),
        s("loaded Second 2.2 (") + folder.file(s("C.so")) + s(")"),
        s("a: library loaded"),
        s("a: constructor"),
        s("loaded Third 3.3 (") + folder.file(s("a.so")) + s(")"),
        s("b: library loaded"),
        s("b: constructor"),
        s("loaded First 1.1 (") + folder.file(s("b.so")) + s(")"),
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
        s("stopping (SIGTERM)"),
        s("b: aboutToShutdown"),
        s("a: aboutToShutdown"),
        s("C: aboutToShutdown"),
        s("b: destructor"),
        s("stopped First"),
        s("a: destructor"),
        s("stopped Third"),
        s("C: destructor"),
        s("stopped Second"),
    };
    QCOMPARE(agent.output(), expected);
    QCOMPARE(agent.errors(), QStringList());
}

void AgentLifecycle::stopsOrderlyOnSignal_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("line");
    QTest::newRow("SIGTERM") << SIGTERM << s("stopping (SIGTERM)");
    QTest::newRow("SIGINT") << SIGINT << s("stopping (SIGINT)");
}

void AgentLifecycle::stopsOrderlyOnSignal()
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

void AgentLifecycle::keepsASignalUntilThePluginsAreInitialized()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    // Neither is it lost in the event loop that a plugin runs while it starts, nor does one that a
    // plugin runs while it stops begin anything.
    agent.setBehaviour(s("first.initialize=raise second.initialize=spin "
                         "second.aboutToShutdown=spin"));
    QCOMPARE(agent.run(pluginDir(folder)), 0);
    const QStringList end = {
        s("first: initialize"),
        s("second: initialize"),
        s("first: extensionsInitialized"),
        s("second: extensionsInitialized"),
        // No third phase any more.
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

void AgentLifecycle::keepsASignalThatComesBeforeAnyPluginIsLoaded()
{
    // More files to complain about than a pipe takes that nobody reads yet: there the agent waits,
    // looking for plugins.
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

void AgentLifecycle::beginsNoThirdPhaseAfterASignal_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::newRow("while the next is due") << s("raise-late");
    QTest::newRow("in an event loop of a plugin's own") << s("spin-raise");
}

void AgentLifecycle::beginsNoThirdPhaseAfterASignal()
{
    QFETCH(QString, behaviour);
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    // Stopping takes longer than the pause before the next phase would be.
    agent.setBehaviour(s("first.delayedInitialize=") + behaviour +
                       s(" second.aboutToShutdown=spin"));
    QCOMPARE(agent.run(pluginDir(folder)), 0);
    const QStringList output = agent.output();
    QVERIFY(output.contains(s("first: delayedInitialize")));
    QVERIFY(output.contains(s("second: aboutToShutdown")));
    QVERIFY(!output.contains(s("second: delayedInitialize")));
}

void AgentLifecycle::endsAtOnceOnASignalWhileItOnlyShows_data()
{
    QTest::addColumn<QString>("option");
    QTest::newRow("--list") << s("--list");
    QTest::newRow("--help") << s("--help");
}

void AgentLifecycle::endsAtOnceOnASignalWhileItOnlyShows()
{
    QFETCH(QString, option);
    // As above, it waits there.
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

void AgentLifecycle::endsAtOnceOnASecondSignal()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setBehaviour(s("first.initialize=raise second.initialize=raise"));
    QCOMPARE(agent.run(pluginDir(folder)), -1);
    QCOMPARE(agent.output().constLast(), s("second: initialize"));
}

void AgentLifecycle::signalsInterruptNothingThatPluginsDo_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGPIPE") << SIGPIPE;
}

void AgentLifecycle::signalsInterruptNothingThatPluginsDo()
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

void AgentLifecycle::pausesAndYieldsBeforeEachDelayedInitialize()
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
    // Two pauses of 20 milliseconds; a coarse timer may be early by a twentieth.
    QVERIFY2(times[1] - times[0] >= 37, qPrintable(QString::number(times[1] - times[0])));
}

void AgentLifecycle::namesEachState()
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

void AgentLifecycle::isSilentAboutStatesByDefault()
{
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    // By itself, not because a distribution's settings say so.
    agent.setLoggingRules(QString());
    agent.setEnvironment(s("XDG_CONFIG_HOME"), folder.path());
    agent.setEnvironment(s("XDG_CONFIG_DIRS"), folder.path());
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors().filter(s("syncstatus.agent: ")), QStringList());
}

void AgentLifecycle::writesInTheEncodingOfTheLocale()
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

void AgentLifecycle::stopsOrderlyWhenNobodyReadsItsOutput()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setLoggingRules(s("*=false;syncstatus.agent=true"));
    agent.setOutputFile(folder.file(s("output")));
    {
        // It is full, so that the first thing written waits for a reader, who goes.
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

void AgentLifecycle::writesIntoNothingElseWhenStandardDescriptorsAreClosed_data()
{
    QTest::addColumn<QString>("redirections");
    QTest::addColumn<QVector<int>>("closed");
    QTest::newRow("output") << s(">&-") << QVector<int>({1});
    // The pipe of the signals took both, and the lines were taken for signals.
    QTest::newRow("input and output") << s("<&- >&-") << QVector<int>({0, 1});
}

void AgentLifecycle::writesIntoNothingElseWhenStandardDescriptorsAreClosed()
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

void AgentLifecycle::handsNoDescriptorToPrograms()
{
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    const QDir descriptors(s("/proc/%1/fdinfo").arg(agent.processId()));
    const QStringList names = descriptors.entryList(QDir::Files);
    // The kind and number of what is open; Qt makes the link's text a path.
    const auto opened = [](const QString &process, const QString &descriptor) {
        return QFile::symLinkTarget(s("/proc/") + process + s("/fd/") + descriptor)
            .section(QLatin1Char('/'), -1);
    };
    int checked = 0;
    for (const QString &name : names) {
        // Not what it was started with.
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

void AgentLifecycle::handsNoIgnoredOrBlockedSignalToPrograms()
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

void AgentLifecycle::runsTheGoodPluginsAmongAllSortsOfFiles()
{
    PluginFolder folder({s("another-first"), s("disabled"), s("first"), s("foreign"), s("nameless"),
                         s("name-number"), s("otherbase"), s("second"), s("third"),
                         s("unresolved")});
    folder.write(s("text.so"), "This is not a library.\n");
    folder.write(s("empty.so"), "");
    folder.write(s("readme.txt"), "Not looked at.\n");
    folder.write(s("shouted.SO"), "Nor is this.\n");
    QVERIFY(QFile::link(s("/nonexistent/library.so"), folder.file(s("dangling.so"))));
    AgentProcess agent;
    agent.setBehaviour(s("second.constructor=throw third.initialize=refuse"));
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);

    const auto file = [&](const char *name) { return folder.file(s(name)); };
    QStringList errors = agent.errors();
    // The loader's message names the symbol.
    QVERIFY2(
        loaderError(file("unresolved.so")).contains(s("undefined symbol: _Z14definedNowherev")),
        qPrintable(loaderError(file("unresolved.so"))));
    QCOMPARE(
        errors,
        agentMessages(
            {file("dangling.so") + s(": not a file"),
             file("empty.so") + s(": ") + loaderError(file("empty.so")),
             file("first.so") + s(": a plugin named \"First\" was found before: ") +
                 file("another-first.so"),
             file("foreign.so") + s(": its interface is \"com.tav.Keldrin.TAVKeldrinPlugin2\", not "
                                    "\"com.tav.Keldrin.TAVKeldrinPlugin\""),
             file("name-number.so") + s(": its metadata has no name: \"Name\" must be a string"),
             file("nameless.so") + s(": its metadata has no name: \"Name\" must be a string"),
             file("text.so") + s(": ") + loaderError(file("text.so")),
             s("OtherBase: its plugin object is not a custompluginmanager::PluginBase"),
             s("Second: constructor: threw: no luck"),
             s("Unresolved: ") + loaderError(file("unresolved.so")),
             s("Third: initialize: no luck")}));
    QCOMPARE(agent.output(), QStringList({
                                 s("another-first: library loaded"),
                                 s("another-first: constructor"),
                                 s("loaded First 9.9 (") + file("another-first.so") + s(")"),
                                 s("otherbase: destructor"),
                                 s("second: library loaded"),
                                 s("second: constructor"),
                                 s("third: library loaded"),
                                 s("third: constructor"),
                                 s("loaded Third 3.3 (") + file("third.so") + s(")"),
                                 s("disabled Disabled 1 (") + file("disabled.so") + s(")"),
                                 s("another-first: initialize"),
                                 s("third: initialize"),
                                 s("third: destructor"),
                                 s("another-first: extensionsInitialized"),
                                 s("another-first: delayedInitialize"),
                                 s("started First"),
                                 s("online: not seen so far"),
                                 s("stopping (SIGTERM)"),
                                 s("another-first: aboutToShutdown"),
                                 s("another-first: destructor"),
                                 s("stopped First"),
                             }));
}

void AgentLifecycle::keepsAFailureToItsPlugin_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::addColumn<QString>("message");
    // What the plugin is still asked to do from there on.
    QTest::addColumn<QStringList>("calls");

    const QStringList toldAndDeleted = {s("aboutToShutdown"), s("destructor")};
    const QStringList deleted = {s("destructor")};
    for (const auto &way : {std::make_pair(s("throw"), s("threw: no luck")),
                            std::make_pair(s("throw-int"), s("threw an exception"))}) {
        const auto row = [&](const char *operation, const QStringList &calls) {
            QTest::addRow("%s %s", operation, qPrintable(way.first))
                << s(operation) + QLatin1Char('=') + way.first
                << s(operation) + s(": ") + way.second << QStringList(s(operation)) + calls;
        };
        row("constructor", {});
        row("commandOptions", deleted);
        row("initialize", deleted);
        row("extensionsInitialized", toldAndDeleted);
        row("delayedInitialize", toldAndDeleted);
        row("aboutToShutdown", deleted);
    }
    QTest::newRow("initialize refuses") << s("initialize=refuse") << s("initialize: no luck")
                                        << QStringList({s("initialize"), s("destructor")});
    QTest::newRow("initialize refuses silently")
        << s("initialize=refuse-silently") << s("initialize: failed without a reason")
        << QStringList({s("initialize"), s("destructor")});
}

void AgentLifecycle::keepsAFailureToItsPlugin()
{
    QFETCH(QString, behaviour);
    QFETCH(QString, message);
    QFETCH(QStringList, calls);
    const PluginFolder folder({s("first"), s("second"), s("third")});
    AgentProcess agent;
    agent.setBehaviour(s("second.") + behaviour);
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);

    QCOMPARE(agent.errors(), agentMessages({s("Second: ") + message}));
    const auto callsOf = [&](const char *plugin) {
        QStringList found;
        const QStringList output = agent.output();
        for (const QString &line : output) {
            if (line.startsWith(s(plugin) + s(": ")))
                found += line.section(s(": "), 1);
        }
        return found;
    };
    const QStringList all = {
        s("library loaded"),    s("constructor"),     s("initialize"), s("extensionsInitialized"),
        s("delayedInitialize"), s("aboutToShutdown"), s("destructor")};
    QCOMPARE(callsOf("first"), all);
    QCOMPARE(callsOf("third"), all);
    const QStringList seen = callsOf("second");
    QCOMPARE(seen.mid(seen.indexOf(calls.first())), calls);
    QCOMPARE(seen.count(calls.first()), 1);
}

void AgentLifecycle::nothingOfAFailedPluginIsOfferedToOthers_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::newRow("returns false") << s("refuse");
    QTest::newRow("throws") << s("throw");
}

void AgentLifecycle::nothingOfAFailedPluginIsOfferedToOthers()
{
    QFETCH(QString, behaviour);
    const PluginFolder folder({s("first"), s("second"), s("third")});
    AgentProcess agent;
    agent.setBehaviour(s("second.initialize=") + behaviour +
                       s(" first.extensionsInitialized=find-second "
                         "third.extensionsInitialized=find-first"));
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QVERIFY(agent.output().contains(s("first: no second")));
    QVERIFY(agent.output().contains(s("third: found first")));
    QVERIFY(!agent.output().contains(s("stopped Second"))); // it was never started
}

void AgentLifecycle::refusesADamagedLibrary_data()
{
    QTest::addColumn<int>("percent");
    for (const int percent : {1, 10, 25, 50, 75, 90, 99})
        QTest::addRow("%d per cent of it", percent) << percent;
}

void AgentLifecycle::refusesADamagedLibrary()
{
    QFETCH(int, percent);
    QFile whole(PluginFolder::built(s("second")));
    QVERIFY(whole.open(QIODevice::ReadOnly));
    PluginFolder folder({s("first")});
    folder.write(s("damaged.so"), whole.read(whole.size() * percent / 100));
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors(), agentMessages({folder.file(s("damaged.so")) + s(": ") +
                                            loaderError(folder.file(s("damaged.so")))}));
    QVERIFY(agent.output().contains(s("started First")));
}

void AgentLifecycle::doesNotWaitForAPipe()
{
    const PluginFolder folder({s("first")});
    QCOMPARE(mkfifo(qPrintable(folder.file(s("pipe.so"))), 0600), 0);
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors(), agentMessages({folder.file(s("pipe.so")) + s(": not a file")}));
}

void AgentLifecycle::runsACommandOnceWhereItsCallerIgnoresChildren()
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

void AgentLifecycle::endsWhenNothingRuns_data()
{
    QTest::addColumn<QStringList>("libraries");
    QTest::addColumn<QString>("behaviour");
    QTest::addColumn<QStringList>("errors");
    QTest::newRow("no plugin") << QStringList() << QString() << QStringList();
    QTest::newRow("all disabled") << QStringList(s("disabled")) << QString() << QStringList();
    QTest::newRow("initialize refuses") << QStringList(s("first")) << s("first.initialize=refuse")
                                        << QStringList(s("First: initialize: no luck"));
    QTest::newRow("extensionsInitialized throws")
        << QStringList(s("first")) << s("first.extensionsInitialized=throw")
        << QStringList(s("First: extensionsInitialized: threw: no luck"));
}

void AgentLifecycle::endsWhenNothingRuns()
{
    QFETCH(QStringList, libraries);
    QFETCH(QString, behaviour);
    QFETCH(QStringList, errors);
    const PluginFolder folder(libraries);
    AgentProcess agent;
    agent.setBehaviour(behaviour);
    QCOMPARE(agent.run(pluginDir(folder)), 1);
    QCOMPARE(agent.errors(),
             agentMessages(errors + QStringList(s("no plugin could be started; looked in ") +
                                                folder.path())));
}

QTEST_GUILESS_MAIN(AgentLifecycle)

#include "tst_agentlifecycle.moc"
