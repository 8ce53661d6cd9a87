// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentprocess.h"
#include "testprogram.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPluginLoader>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

QJsonArray parsed(const QStringList &output)
{
    QJsonParseError error;
    const auto document = QJsonDocument::fromJson(output.join(QLatin1Char('\n')).toUtf8(), &error);
    if (error.error != QJsonParseError::NoError)
        qWarning() << error.errorString() << output;
    return document.array();
}

/// The name of each plugin in \a list, and whether it is enabled.
QStringList enabledOf(const QJsonArray &list)
{
    QStringList found;
    for (const QJsonValue &entry : list)
        found += entry[QLatin1String("metaData")][QLatin1String("MetaData")][QLatin1String("Name")]
                     .toString() +
                 (entry[QLatin1String("enabled")].toBool() ? s(" yes") : s(" no"));
    return found;
}

} // namespace

// The agent's options, and those of its plugins.
class TestAgentCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsMetadataAsJsonAndRunsNothing();
    void listsNothingAsAnEmptyArray();
    void onlyTheBooleanTrueDisablesByDefault();
    void enablesAndDisablesByName();
    void listsWhatIsEnabledAndDisabledByName();
    void refusesAWrongCommandLine_data();
    void refusesAWrongCommandLine();
    void whatIsNoPluginHasNoName();

    void looksIntoEachDirectoryInTurn();
    void looksIntoADirectoryOnce();
    void looksIntoTheBuildFolderItRunsFrom();
    void looksIntoTheInstalledDirectoryByDefault();
    void saysWhatIsWrongWithADirectory();
    void saysThatADirectoryCannotBeRead();

    void showsHelpWithTheOptionsOfPlugins();
    void showsItsVersion();
    void handsItsCommandLineToPluginsWithOptions();
    void doesNotKnowTheOptionsOfADisabledPlugin();
    void keepsAFailingParseArgumentOptionsToItsPlugin_data();
    void keepsAFailingParseArgumentOptionsToItsPlugin();
    void leavesOutAnOptionThatIsTaken();

    void failsWhenItsAnswerCannotBeWritten_data();
    void failsWhenItsAnswerCannotBeWritten();
    void itsMessagesAreOfTheLevelThatTheyDeserve_data();
    void itsMessagesAreOfTheLevelThatTheyDeserve();
    void saysThatItHasNoDescriptorsForItsSignals();
};

void TestAgentCommandLine::listsMetadataAsJsonAndRunsNothing()
{
    PluginFolder folder(
        {s("another-first"), s("first"), s("foreign"), s("disabled"), s("nameless")});
    folder.write(s("text.so"), "This is not a library.\n");
    AgentProcess agent;
    QCOMPARE(agent.run(pluginDir(folder, {s("--list")})), 0);

    const auto entry = [&](const char *name, bool enabled) {
        const QString file = folder.file(s(name));
        return QJsonObject{{s("file"), file},
                           {s("enabled"), enabled},
                           {s("metaData"), QPluginLoader(file).metaData()}};
    };
    QJsonObject foreign = entry("foreign.so", false);
    foreign.insert(s("error"), s("its interface is \"com.tav.Keldrin.TAVKeldrinPlugin2\", not "
                                 "\"com.tav.Keldrin.TAVKeldrinPlugin\""));
    QJsonObject first = entry("first.so", false);
    first.insert(s("error"), s("a plugin named \"First\" was found before: ") +
                                 folder.file(s("another-first.so")));
    QJsonObject nameless = entry("nameless.so", false);
    nameless.insert(s("error"), s("its metadata has no name: \"Name\" must be a string"));
    QJsonObject text = entry("text.so", false);
    text.insert(s("error"), QPluginLoader(folder.file(s("text.so"))).errorString());
    // No library was loaded: a test plugin would have written among the lines.
    QCOMPARE(parsed(agent.output()),
             QJsonArray({entry("another-first.so", true), entry("disabled.so", false), first,
                         foreign, nameless, text}));
    const QJsonValue good = parsed(agent.output()).at(0);
    QCOMPARE(good[s("metaData")][s("MetaData")],
             QJsonValue(QJsonObject{{s("Name"), s("First")}, {s("Version"), s("9.9")}}));
    QCOMPARE(agent.errors().size(), 4);
}

void TestAgentCommandLine::listsNothingAsAnEmptyArray()
{
    const PluginFolder folder;
    AgentProcess agent;
    QCOMPARE(agent.run(pluginDir(folder, {s("--list")})), 0);
    QCOMPARE(agent.output().join(QString()), s("[]"));
    QCOMPARE(agent.errors(), QStringList());
}

void TestAgentCommandLine::onlyTheBooleanTrueDisablesByDefault()
{
    const PluginFolder folder({s("disabled"), s("disabled-false"), s("disabled-null"),
                               s("disabled-number"), s("disabled-string"), s("first")});
    AgentProcess agent;
    QCOMPARE(agent.run(pluginDir(folder, {s("--list")})), 0);
    QCOMPARE(enabledOf(parsed(agent.output())),
             QStringList({s("False yes"), s("Null yes"), s("Number yes"), s("String yes"),
                          s("Disabled no"), s("First yes")}));
    QCOMPARE(agent.errors(),
             agentMessages({s("Null: \"DisabledByDefault\" is not a boolean, ignored"),
                            s("Number: \"DisabledByDefault\" is not a boolean, ignored"),
                            s("String: \"DisabledByDefault\" is not a boolean, ignored")}));
}

void TestAgentCommandLine::enablesAndDisablesByName()
{
    const PluginFolder folder(
        {s("disabled"), s("disabled-string"), s("first"), s("second"), s("third")});
    AgentProcess agent;
    agent.start(pluginDir(
        folder, {s("--enable"), s("Disabled"), s("--disable"), s("First"), s("--disable=Third")}));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    const QStringList output = agent.output();
    QVERIFY(output.contains(s("started Disabled")));
    QVERIFY(output.contains(s("started Second")));
    QVERIFY(output.contains(s("disabled First 1.1 (") + folder.file(s("first.so")) + s(")")));
    // This plugin has no version.
    QVERIFY(output.contains(s("loaded String (") + folder.file(s("disabled-string.so")) + s(")")));
    QVERIFY(output.contains(s("disabled Third 3.3 (") + folder.file(s("third.so")) + s(")")));
    QVERIFY(!output.contains(s("first: library loaded")));
    QVERIFY(!output.contains(s("third: library loaded")));
}

void TestAgentCommandLine::listsWhatIsEnabledAndDisabledByName()
{
    const PluginFolder folder({s("disabled"), s("first"), s("second")});
    AgentProcess agent;
    QCOMPARE(agent.run(pluginDir(
                 folder, {s("--list"), s("--enable"), s("Disabled"), s("--disable"), s("First")})),
             0);
    QCOMPARE(enabledOf(parsed(agent.output())),
             QStringList({s("Disabled yes"), s("First no"), s("Second yes")}));
}

void TestAgentCommandLine::refusesAWrongCommandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("errors");
    const auto row = [](const char *name, const char *arguments, const QStringList &errors) {
        QTest::newRow(name) << s(arguments).split(QLatin1Char(' ')) << errors;
    };
    row("unknown option", "--bogus", {s("Unknown option 'bogus'. (see --help)")});
    row("unknown option to a list", "--list --bogus", {s("Unknown option 'bogus'. (see --help)")});
    row("missing value", "--disable", {s("Missing value after '--disable'. (see --help)")});
    row("stray argument", "stray", {s("Unexpected argument 'stray'. (see --help)")});
    row("stray argument to a list", "--list stray",
        {s("Unexpected argument 'stray'. (see --help)")});
    row("unknown names", "--enable Nobody --disable first",
        {s("no plugin is named \"Nobody\""), s("no plugin is named \"first\"")});
    row("several unknown names of one option", "--enable Nobody --enable First --enable Noone",
        {s("no plugin is named \"Nobody\""), s("no plugin is named \"Noone\"")});
    row("unknown name to enable", "--enable Nobody --disable First",
        {s("no plugin is named \"Nobody\"")});
    row("unknown name to disable", "--disable Nobody", {s("no plugin is named \"Nobody\"")});
    row("option in the place of a directory", "--plugin-dir --list",
        {s("The value of '--plugin-dir' cannot start with '-': '--list'. (see --help)")});
    row("option in the place of a name", "--enable --disable First",
        {s("The value of '--enable' cannot start with '-': '--disable'. (see --help)")});
    row("value that starts with a dash", "--disable=-First",
        {s("The value of '--disable' cannot start with '-': '-First'. (see --help)")});
    row("contradiction", "--enable First --disable First",
        {s("\"First\" is enabled and disabled. (see --help)")});
}

void TestAgentCommandLine::refusesAWrongCommandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, errors);
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    QCOMPARE(agent.run(pluginDir(folder, arguments)), 2);
    QCOMPARE(agent.errors(), agentMessages(errors));
    QVERIFY(!agent.output().contains(s("first: initialize")));
}

void TestAgentCommandLine::whatIsNoPluginHasNoName()
{
    PluginFolder folder({s("first")});
    folder.write(s("text.so"), "This is not a library.\n");
    AgentProcess agent;
    QCOMPARE(agent.run(pluginDir(folder, {s("--enable"), QString()})), 2);
    QCOMPARE(agent.errors().mid(1), agentMessages({s("no plugin is named \"\"")}));
}

void TestAgentCommandLine::looksIntoEachDirectoryInTurn()
{
    const PluginFolder one({s("third"), s("another-first")});
    const PluginFolder two({s("first"), s("second")});
    AgentProcess agent;
    agent.start(pluginDir(one) + pluginDir(two));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.output().filter(s("initialize")),
             QStringList({s("another-first: initialize"), s("third: initialize"),
                          s("second: initialize")}));
    QCOMPARE(agent.errors(), agentMessages({two.file(s("first.so")) +
                                            s(": a plugin named \"First\" was found before: ") +
                                            one.file(s("another-first.so"))}));
}

void TestAgentCommandLine::looksIntoADirectoryOnce()
{
    const PluginFolder folder({s("first"), s("foreign")});
    const QTemporaryDir other;
    QVERIFY(QFile::link(folder.path(), other.filePath(s("link"))));
    AgentProcess agent;
    QCOMPARE(agent.run(pluginDir(folder) + pluginDir(folder) +
                       QStringList({s("--plugin-dir"), folder.path() + s("/."), s("--plugin-dir"),
                                    other.filePath(s("link")), s("--list")})),
             0);
    QCOMPARE(enabledOf(parsed(agent.output())), QStringList({s("First yes"), s("Foreign no")}));
    QCOMPARE(agent.errors().size(), 1); // about the foreign one
}

void TestAgentCommandLine::looksIntoTheBuildFolderItRunsFrom()
{
    AgentProcess agent;
    QCOMPARE(agent.run({s("--list")}), 0);
    QCOMPARE(enabledOf(parsed(agent.output())),
             QStringList({s("ServicePlugin yes"), s("SyncStatus yes")}));
    QCOMPARE(agent.errors(), QStringList());
}

void TestAgentCommandLine::looksIntoTheInstalledDirectoryByDefault()
{
    // The same folders as installed, in another place.
    const QTemporaryDir root;
    const QString programs = root.filePath(s("prefix/bin"));
    const QString plugins = QDir::cleanPath(programs + s("/" PLUGIN_DIR_FROM_BINDIR));
    QVERIFY(QDir().mkpath(programs));
    QVERIFY(QFile::copy(s(AGENT_PROGRAM), programs + s("/agent")));

    AgentProcess empty;
    empty.start({s("--list")}, programs + s("/agent"));
    QCOMPARE(empty.exitStatus(), 0);
    QCOMPARE(empty.errors(),
             agentMessages({s("plugin directory ") + plugins + s(" does not exist")}));

    QVERIFY(QDir().mkpath(plugins));
    QVERIFY(QFile::copy(PluginFolder::built(s("first")), plugins + s("/first.so")));
    AgentProcess agent;
    agent.start({s("--list")}, programs + s("/agent"));
    QCOMPARE(agent.exitStatus(), 0);
    QCOMPARE(enabledOf(parsed(agent.output())), QStringList(s("First yes")));

    AgentProcess help;
    help.start({s("--help"), s("--disable"), s("First")}, programs + s("/agent"));
    QCOMPARE(help.exitStatus(), 0);
    // Qt wraps the text within its column, also at blanks.
    QVERIFY(help.output()
                .join(QString())
                .remove(QLatin1Char(' '))
                .contains(QString(plugins).remove(QLatin1Char(' '))));
}

void TestAgentCommandLine::saysWhatIsWrongWithADirectory()
{
    PluginFolder folder({s("first")});
    folder.write(s("file"), "");
    AgentProcess agent;
    agent.start({s("--plugin-dir"), s("/nonexistent/plugins"), s("--plugin-dir"),
                 s("nonexistent-plugins"), s("--plugin-dir"), folder.file(s("file")),
                 s("--plugin-dir"), folder.path()});
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors(),
             agentMessages(
                 {s("plugin directory /nonexistent/plugins does not exist"),
                  s("plugin directory ") + QDir().absoluteFilePath(s("nonexistent-plugins")) +
                      s(" does not exist"),
                  s("plugin directory ") + folder.file(s("file")) + s(" is not a directory")}));

    AgentProcess alone;
    QCOMPARE(alone.run({s("--plugin-dir"), s("/nonexistent/plugins")}), 1);
    QCOMPARE(alone.errors(),
             agentMessages({s("plugin directory /nonexistent/plugins does not exist"),
                            s("no plugin could be started; looked in /nonexistent/plugins")}));
}

void TestAgentCommandLine::saysThatADirectoryCannotBeRead()
{
    const PluginFolder folder({s("first")});
    QVERIFY(QFile::setPermissions(folder.path(), QFile::WriteOwner | QFile::ExeOwner));
    // Root without the capabilities to read any directory.
    const QStringList command =
        QFileInfo(folder.path()).isReadable()
            ? QStringList{s("setpriv"), s("--bounding-set=-dac_override,-dac_read_search")}
            : QStringList{s("env")};
    const bool readable =
        QProcess::execute(command.first(), command.mid(1) + QStringList{s("test"), s("!"), s("-r"),
                                                                        folder.path()}) != 0;
    AgentProcess agent;
    if (!readable)
        agent.start(command.mid(1) + QStringList{s(AGENT_PROGRAM)} + pluginDir(folder),
                    command.first());
    const int status = readable ? -1 : agent.exitStatus();
    // So that the folder can be removed.
    QVERIFY(QFile::setPermissions(folder.path(),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    if (readable)
        QSKIP("this user reads any directory, and setpriv could not take that away");
    QCOMPARE(status, 1);
    QCOMPARE(agent.errors(),
             agentMessages({s("plugin directory ") + folder.path() + s(" cannot be read"),
                            s("no plugin could be started; looked in ") + folder.path()}));
}

void TestAgentCommandLine::showsHelpWithTheOptionsOfPlugins()
{
    const PluginFolder folder({s("first"), s("second"), s("third")});
    AgentProcess agent;
    agent.setBehaviour(s("first.commandOptions=offer-first-greeting"));
    QCOMPARE(agent.run(pluginDir(folder, {s("--help")})), 0);
    const QStringList output = agent.output();
    const QString help = output.join(QLatin1Char('\n'));
    for (const char *part :
         {"--help", "--version", "--plugin-dir <directory>", "--list", "--enable <name>",
          "--disable <name>", "--first-greeting <value>", "Exit status:"})
        QVERIFY2(help.contains(s(part)), part);
    QVERIFY(!help.contains(s("initialize")));
    QVERIFY(!help.contains(s("aboutToShutdown")));
    QVERIFY(!help.contains(s("loaded First")));
    AgentProcess brief;
    brief.setBehaviour(s("first.commandOptions=offer-first-greeting"));
    QCOMPARE(brief.run(pluginDir(folder, {s("-h")})), 0);
    QCOMPARE(brief.output(), output);
    // The agent deletes the plugin objects that it has asked.
    QCOMPARE(
        output.mid(output.size() - 3),
        QStringList({s("third: destructor"), s("second: destructor"), s("first: destructor")}));
}

void TestAgentCommandLine::showsItsVersion()
{
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    QCOMPARE(agent.run(pluginDir(folder, {s("--version")})), 0);
    const QString text = agent.output().join(QLatin1Char('\n'));
    const QRegularExpression line(
        s(R"(^syncstatus-agent \d+\.\d+\.\d+ \(Qt 5\.\d+\.\d+, .*SSL \d+\.\d+\.\d+.*\)$)"));
    QVERIFY2(line.match(text).hasMatch(), qPrintable(text));
    QCOMPARE(agent.errors(), QStringList());

    AgentProcess brief;
    QCOMPARE(brief.run({s("-v")}), 0);
    QCOMPARE(brief.output(), agent.output());
}

void TestAgentCommandLine::handsItsCommandLineToPluginsWithOptions()
{
    const PluginFolder folder({s("first"), s("second"), s("third")});
    AgentProcess agent;
    agent.setBehaviour(
        s("first.commandOptions=offer-greeting second.commandOptions=offer-farewell"));
    const QStringList arguments =
        pluginDir(folder, {s("--greeting"), s("hello"), s("--farewell=bye")});
    agent.start(arguments);
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    const QStringList output = agent.output();
    QCOMPARE(output.filter(s("arguments")),
             QStringList({s("first: arguments ") + arguments.join(QLatin1Char(' ')),
                          s("second: arguments ") + arguments.join(QLatin1Char(' '))}));
    QVERIFY(output.indexOf(s("first: parseArgumentOptions")) <
            output.indexOf(s("first: initialize")));
}

void TestAgentCommandLine::doesNotKnowTheOptionsOfADisabledPlugin()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setBehaviour(s("first.commandOptions=offer-greeting"));
    QCOMPARE(agent.run(pluginDir(folder, {s("--disable"), s("First"), s("--greeting=hello")})), 2);
    QCOMPARE(agent.errors(), agentMessages({s("Unknown option 'greeting'. (see --help)")}));
}

void TestAgentCommandLine::keepsAFailingParseArgumentOptionsToItsPlugin_data()
{
    QTest::addColumn<QString>("way");
    QTest::addColumn<QString>("message");
    QTest::newRow("an exception with a text") << s("throw") << s("threw: no luck");
    QTest::newRow("anything else") << s("throw-int") << s("threw an exception");
}

void TestAgentCommandLine::keepsAFailingParseArgumentOptionsToItsPlugin()
{
    QFETCH(QString, way);
    QFETCH(QString, message);
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setBehaviour(s("first.commandOptions=offer-greeting first.parseArgumentOptions=") + way);
    agent.start(pluginDir(folder, {s("--greeting=hello")}));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors(), agentMessages({s("First: parseArgumentOptions: ") + message}));
    QVERIFY(!agent.output().contains(s("first: initialize")));
    QVERIFY(agent.output().contains(s("started Second")));
}

void TestAgentCommandLine::leavesOutAnOptionThatIsTaken()
{
    const PluginFolder folder({s("first"), s("second")});
    AgentProcess agent;
    agent.setBehaviour(
        s("first.commandOptions=offer-list,listing second.commandOptions=offer-greeting"));
    agent.start(pluginDir(folder, {s("--greeting=hello")}));
    QVERIFY(agent.waitUntilUp());
    QCOMPARE(agent.terminate(), 0);
    QCOMPARE(agent.errors(),
             agentMessages({s("First: another option has this name already: list, listing")}));
    QVERIFY(agent.output().contains(s("started First")));
    QVERIFY(agent.output().contains(s("started Second")));
}

void TestAgentCommandLine::failsWhenItsAnswerCannotBeWritten_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("pluginsOption");
    QTest::newRow("--list") << s("--list") << s("greeting");
    QTest::newRow("--help") << s("--help") << s("greeting");
    QTest::newRow("--help, longer than a buffer")
        << s("--help") << QString(10000, QLatin1Char('x'));
    QTest::newRow("--version") << s("--version") << s("greeting");
}

void TestAgentCommandLine::failsWhenItsAnswerCannotBeWritten()
{
    QFETCH(QString, option);
    QFETCH(QString, pluginsOption);
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    agent.setBehaviour(s("first.commandOptions=offer-") + pluginsOption);
    agent.setOutputFile(s("/dev/full"));
    QCOMPARE(agent.run(pluginDir(folder, {option})), 1);
    QCOMPARE(agent.errors(),
             agentMessages({s("cannot write to standard output: No space left on device")}));

    AgentProcess closed;
    closed.start(QStringList({s("-c"), s(R"(exec "$0" "$@" >&-)"), s(AGENT_PROGRAM)}) +
                     pluginDir(folder, {option}),
                 s("/bin/sh"));
    QCOMPARE(closed.exitStatus(), 1);
    QCOMPARE(closed.errors(),
             agentMessages({s("cannot write to standard output: Bad file descriptor")}));
}

void TestAgentCommandLine::itsMessagesAreOfTheLevelThatTheyDeserve_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("outputFile");
    QTest::addColumn<QStringList>("messages");
    const QStringList found({s("warning: String: \"DisabledByDefault\" is not a boolean, ignored"),
                             s("debug: String: Found"), s("debug: First: Found")});
    const QStringList missing({s("--plugin-dir"), s("/nonexistent/plugins")});
    const QStringList noDirectory(
        s("warning: plugin directory /nonexistent/plugins does not exist"));
    QTest::newRow("what goes wrong with a plugin and the agent goes on, and when it cannot")
        << QStringList({s("--disable"), s("String")}) << QString()
        << found + QStringList({s("debug: First: Loaded"),
                                s("warning: First: another option has this name already: list"),
                                s("warning: First: initialize: no luck"),
                                s("critical: no plugin could be started; looked in FOLDER")});
    QTest::newRow("directory") << missing + QStringList(s("--list")) << QString()
                               << found + noDirectory;
    QTest::newRow("unknown name") << QStringList({s("--enable"), s("Nobody")}) << QString()
                                  << found +
                                         QStringList(s("critical: no plugin is named \"Nobody\""));
    QTest::newRow("wrong command line")
        << QStringList({s("--list"), s("stray")}) << QString()
        << found + QStringList(s("critical: Unexpected argument 'stray'. (see --help)"));
    QTest::newRow("answer that cannot be written")
        << QStringList(s("--version")) << s("/dev/full")
        << QStringList(s("critical: cannot write to standard output: No space left on device"));
}

void TestAgentCommandLine::itsMessagesAreOfTheLevelThatTheyDeserve()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, outputFile);
    QFETCH(QStringList, messages);
    const PluginFolder folder({s("disabled-string"), s("first")});
    AgentProcess agent;
    agent.setBehaviour(s("first.commandOptions=offer-list first.initialize=refuse"));
    agent.setLoggingRules(s("*=false;syncstatus.agent=true"));
    agent.setEnvironment(s("QT_MESSAGE_PATTERN"), s("%{type}: %{message}"));
    if (!outputFile.isEmpty())
        agent.setOutputFile(outputFile);
    agent.run(pluginDir(folder, arguments));
    QCOMPARE(agent.errors(), messages.replaceInStrings(s("FOLDER"), folder.path()));
}

// The agent says so before it loads anything.
void TestAgentCommandLine::saysThatItHasNoDescriptorsForItsSignals()
{
    const PluginFolder folder({s("first")});
    AgentProcess agent;
    // Two are left besides the standard ones: the event loop takes one, a pipe takes two.
    agent.start(QStringList({s("-c"), s(R"(exec 3>&- 4>&-; ulimit -c 0 -n 5; exec "$0" "$@")"),
                             s(AGENT_PROGRAM)}) +
                    pluginDir(folder),
                s("/bin/bash"));
    QCOMPARE(agent.exitStatus(), -1); // ended by SIGABRT, which is Qt's way
    // Without the line that an emulator adds.
    QCOMPARE(agent.errors().filter(QRegularExpression(s("^(?!qemu: )"))),
             QStringList{s("cannot make a pipe for signals: Too many open files")});
    QCOMPARE(agent.output(), QStringList());
}

SYNCSTATUS_TEST(TestAgentCommandLine)

#include "tst_agentcommandline.moc"
