// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentprocess.h"
#include "testprogram.h"

#include <QFile>
#include <QPluginLoader>
#include <QTest>

#include <sys/stat.h>

#include <utility>

namespace {

/// The error message of Qt's plugin loader for \a file.
QString loaderError(const QString &file)
{
    QPluginLoader loader(file);
    loader.setLoadHints(QLibrary::ResolveAllSymbolsHint);
    if (loader.load())
        return s("can be loaded");
    return loader.errorString();
}

void addFilesThatAreNoPlugins(PluginFolder &folder)
{
    folder.write(s("text.so"), "This is not a library.\n");
    folder.write(s("empty.so"), "");
    folder.write(s("readme.txt"), "Not looked at.\n");
    folder.write(s("shouted.SO"), "Nor is this.\n");
    QVERIFY(QFile::link(s("/nonexistent/library.so"), folder.file(s("dangling.so"))));
}

/// The messages about these and about the bad plugins of the folder.
QStringList errorsOfAllSortsOfFiles(const PluginFolder &folder)
{
    const auto file = [&](const char *name) { return folder.file(s(name)); };
    return agentMessages(
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
         s("Unresolved: ") + loaderError(file("unresolved.so")), s("Third: initialize: no luck")});
}

} // namespace

// What the agent does about plugins that fail, and about files that are no plugins.
class TestAgentBadPlugins : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runsTheGoodPluginsAmongAllSortsOfFiles();
    void keepsAFailureToItsPlugin_data();
    void keepsAFailureToItsPlugin();
    void nothingOfAFailedPluginIsOfferedToOthers_data();
    void nothingOfAFailedPluginIsOfferedToOthers();
    void refusesADamagedLibrary_data();
    void refusesADamagedLibrary();
    void doesNotWaitForAPipe();
    void endsWhenNothingRuns_data();
    void endsWhenNothingRuns();
};

void TestAgentBadPlugins::runsTheGoodPluginsAmongAllSortsOfFiles()
{
    PluginFolder folder({s("another-first"), s("disabled"), s("first"), s("foreign"), s("nameless"),
                         s("name-number"), s("otherbase"), s("second"), s("third"),
                         s("unresolved")});
    addFilesThatAreNoPlugins(folder);
    AgentProcess agent;
    agent.setBehaviour(s("second.constructor=throw third.initialize=refuse"));
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);

    // The loader's message names the symbol.
    const QString unresolved = loaderError(folder.file(s("unresolved.so")));
    QVERIFY2(unresolved.contains(s("undefined symbol: _Z14definedNowherev")),
             qPrintable(unresolved));
    QCOMPARE(agent.errors(), errorsOfAllSortsOfFiles(folder));
    const auto file = [&](const char *name) { return folder.file(s(name)); };
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

void TestAgentBadPlugins::keepsAFailureToItsPlugin_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::addColumn<QString>("message");
    // The calls from the failing one on.
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

void TestAgentBadPlugins::keepsAFailureToItsPlugin()
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

void TestAgentBadPlugins::nothingOfAFailedPluginIsOfferedToOthers_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::newRow("returns false") << s("refuse");
    QTest::newRow("throws") << s("throw");
}

void TestAgentBadPlugins::nothingOfAFailedPluginIsOfferedToOthers()
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

void TestAgentBadPlugins::refusesADamagedLibrary_data()
{
    QTest::addColumn<int>("percent");
    for (const int percent : {1, 10, 25, 50, 75, 90, 99})
        QTest::addRow("%d per cent of it", percent) << percent;
}

void TestAgentBadPlugins::refusesADamagedLibrary()
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

void TestAgentBadPlugins::doesNotWaitForAPipe()
{
    const PluginFolder folder({s("first")});
    QCOMPARE(mkfifo(qPrintable(folder.file(s("pipe.so"))), 0600), 0);
    AgentProcess agent;
    agent.start(pluginDir(folder));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors(), agentMessages({folder.file(s("pipe.so")) + s(": not a file")}));
}

void TestAgentBadPlugins::endsWhenNothingRuns_data()
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

void TestAgentBadPlugins::endsWhenNothingRuns()
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

SYNCSTATUS_TEST(TestAgentBadPlugins)

#include "tst_agentbadplugins.moc"
