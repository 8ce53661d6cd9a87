// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "pluginhost.h"
#include "stopsignals.h"

#include <syncstatus/monitornetwork.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>

#include <fcntl.h>
#include <openssl/crypto.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace {

// Exit statuses, as in --help.
constexpr int success = 0;
constexpr int failure = 1;
constexpr int usageError = 2;

/// The reader of standard output has closed the pipe.
bool readerGone = false;

/// Relative to this program, so that an installed tree can be moved.
QString installedPluginDir()
{
    const QDir programs(QCoreApplication::applicationDirPath());
    return QDir::cleanPath(
        programs.absoluteFilePath(QStringLiteral(SYNCSTATUS_PLUGIN_DIR_FROM_BINDIR)));
}

/// Opens the standard descriptors that the caller has closed (`>&-`). Otherwise the next file that
/// is opened would get one of them, and the agent's lines with it. Each is opened for the wrong
/// direction, so that its use still fails.
void occupyStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0)
            (void)open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

bool print(const QByteArray &text)
{
    if (std::fwrite(text.constData(), 1, size_t(text.size()), stdout) == size_t(text.size()) &&
        std::fflush(stdout) == 0)
        return true;
    readerGone = errno == EPIPE;
    const QString reason = qt_error_string(errno);
    qCCritical(hostLog).noquote() << "cannot write to standard output:" << reason;
    return false;
}

/// Prints one line and flushes it, for readers of a pipe. Stops the agent when nobody reads it any
/// more.
void say(const QString &line)
{
    if (readerGone)
        return;
    print(line.toLocal8Bit() + '\n');
    if (readerGone)
        QCoreApplication::exit(failure); // no effect before exec(), so main() tests readerGone too
}

/// Makes a write to a pipe without a reader fail. By default it would end the process in the middle
/// of the plugins' work. Not SIG_IGN: every program that a plugin starts would inherit it.
void keepRunningOnBrokenPipes()
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGPIPE, &action, nullptr);
}

/// Writes a message to standard error. Qt's default handler may prefer the journal if standard
/// error is no terminal.
void writeToStandardError(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    std::fprintf(stderr, "%s\n", qFormatLogMessage(type, context, text).toLocal8Bit().constData());
}

QString versionText()
{
    return QStringLiteral("%1 %2 (Qt %3, %4)\n")
        .arg(QCoreApplication::applicationName(), QCoreApplication::applicationVersion(),
             QLatin1String(qVersion()), QLatin1String(OpenSSL_version(OPENSSL_VERSION)));
}

QString described(const Plugin &plugin)
{
    const QString version =
        plugin.version.isEmpty() ? QString() : QLatin1Char(' ') + plugin.version;
    return QStringLiteral("%1%2 (%3)").arg(plugin.name, version, plugin.file);
}

void report(const Plugin &plugin)
{
    switch (plugin.state) {
    case Plugin::State::Loaded:
        say(QLatin1String("loaded ") + described(plugin));
        break;
    case Plugin::State::Running:
        say(QLatin1String("started ") + plugin.name);
        break;
    case Plugin::State::Deleted:
        say(QLatin1String("stopped ") + plugin.name);
        break;
    default:
        break;
    }
}

/// There is no line for "offline": the monitor reports gains only.
void followConnectivity(const QObject *context)
{
    MonitorNetwork *monitor = MonitorNetwork::getInstance();
    QObject::connect(monitor, &MonitorNetwork::networkStateChange, context,
                     [] { say(QStringLiteral("gained connectivity")); });
    say(monitor->getNetworkState() ? QStringLiteral("online: yes")
                                   : QStringLiteral("online: not seen so far"));
}

/// Calls PluginHost::setEnabled() for each of \a names. Returns false if one of them is unknown.
bool setEnabled(PluginHost &host, const QStringList &names, bool enabled)
{
    bool known = true;
    for (const QString &name : names) {
        if (host.setEnabled(name, enabled))
            continue;
        qCCritical(hostLog).noquote() << "no plugin is named" << '"' + name + '"';
        known = false;
    }
    return known;
}

int wrongCommandLine(const QString &error)
{
    qCCritical(hostLog).noquote() << error << "(see --help)";
    return usageError;
}

/// Refuses an option as the value of another. In `--plugin-dir --list` the directory is missing,
/// and the parser does not notice.
bool checkValues(const QCommandLineParser &parser, const QCommandLineOption &option)
{
    const QStringList values = parser.values(option);
    for (const QString &value : values) {
        if (!value.startsWith(QLatin1Char('-')))
            continue;
        wrongCommandLine(QStringLiteral("The value of '--%1' cannot start with '-': '%2'.")
                             .arg(option.names().constFirst(), value));
        return false;
    }
    return true;
}

int wrongCommandLine(const QCommandLineParser &parser)
{
    const QStringList rest = parser.positionalArguments();
    return wrongCommandLine(!parser.errorText().isEmpty()
                                ? parser.errorText()
                                : QStringLiteral("Unexpected argument '%1'.").arg(rest.value(0)));
}

} // namespace

int main(int argc, char *argv[])
{
    occupyStandardDescriptors(); // before anything else opens a file
    // If the caller has ignored SIGCHLD, QProcess cannot learn how a command ended.
    (void)std::signal(SIGCHLD, SIG_DFL);
    qInstallMessageHandler(writeToStandardError);
    QCoreApplication::setApplicationName(QStringLiteral("syncstatus-agent"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SYNCSTATUS_VERSION));
    const QCoreApplication application(argc, argv);

    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help, with the options of the enabled "
                                                 "plugins, and exit."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Show the version and exit."));
    const QCommandLineOption pluginDir(
        QStringLiteral("plugin-dir"),
        QStringLiteral("Look for plugins in <directory> instead of the default, %1. You can give "
                       "it several times.")
            .arg(installedPluginDir()),
        QStringLiteral("directory"));
    const QCommandLineOption list(
        QStringLiteral("list"),
        QStringLiteral("Show the plugins with their metadata as JSON, and exit. Loads no plugin."));
    const QCommandLineOption enable(
        QStringLiteral("enable"),
        QStringLiteral("Load the plugin <name> although it is disabled by default."),
        QStringLiteral("name"));
    const QCommandLineOption disable(QStringLiteral("disable"),
                                     QStringLiteral("Do not load the plugin <name>."),
                                     QStringLiteral("name"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Loads plugins, starts them, and reports whether the machine is online and each gain of\n"
        "connectivity. SIGTERM or SIGINT (Ctrl-C) stops it. A second signal of the same kind\n"
        "ends it at once.\n\n"
        "Events go to standard output, diagnostics to standard error.\n\n"
        "Exit status:\n"
        "  0  SIGTERM or SIGINT stopped it, or the requested output is complete\n"
        "  1  no plugin could be started, the requested output cannot be written, or nobody\n"
        "     reads standard output any more\n"
        "  2  the command line is wrong"));
    parser.addOptions({help, version, pluginDir, list, enable, disable});

    // Ignores unknown options for now: plugins add theirs later.
    const bool complete = parser.parse(QCoreApplication::arguments());
    if (parser.isSet(version))
        return print(versionText().toLocal8Bit()) ? success : failure;
    for (const QCommandLineOption *option : {&pluginDir, &enable, &disable}) {
        if (!checkValues(parser, *option))
            return usageError;
    }

    StopSignals stopSignals;
    if (!parser.isSet(list) && !parser.isSet(help)) {
        // A signal from here on is handled when the plugins have started.
        stopSignals.hold();
        keepRunningOnBrokenPipes();
    }

    PluginHost host;
    const QStringList directories =
        parser.isSet(pluginDir) ? parser.values(pluginDir) : QStringList(installedPluginDir());
    for (const QString &directory : directories)
        host.find(directory);
    const QStringList toEnable = parser.values(enable);
    const QStringList toDisable = parser.values(disable);
    for (const QString &name : toEnable) {
        if (toDisable.contains(name))
            return wrongCommandLine(QStringLiteral("\"%1\" is enabled and disabled.").arg(name));
    }
    const bool enableKnown = setEnabled(host, toEnable, true);
    const bool disableKnown = setEnabled(host, toDisable, false);
    if (!enableKnown || !disableKnown)
        return usageError;

    if (parser.isSet(list)) {
        if (!complete || !parser.positionalArguments().isEmpty())
            return wrongCommandLine(parser);
        return print(QJsonDocument(host.list()).toJson()) ? success : failure;
    }

    // From here on, code of the plugins runs.
    if (!parser.isSet(help))
        QObject::connect(&host, &PluginHost::stateReached, report);
    host.load();
    host.addCommandOptions(parser);
    if (parser.isSet(help))
        return print(parser.helpText().toLocal8Bit()) ? success : failure;
    if (!parser.parse(QCoreApplication::arguments()) || !parser.positionalArguments().isEmpty())
        return wrongCommandLine(parser);
    host.parseArgumentOptions(QCoreApplication::arguments());

    for (const Plugin &plugin : host.plugins()) {
        if (plugin.state == Plugin::State::Found && !plugin.enabled)
            say(QLatin1String("disabled ") + described(plugin));
    }
    QObject::connect(&host, &PluginHost::delayedInitializeFinished, &application,
                     [&] { followConnectivity(&application); });
    QObject::connect(&stopSignals, &StopSignals::received, &application, [&host](int number) {
        say(QStringLiteral("stopping (%1)")
                .arg(number == SIGINT ? QLatin1String("SIGINT") : QLatin1String("SIGTERM")));
        host.cancelDelayedInitialize();
        QCoreApplication::quit();
    });
    if (!host.initialize()) {
        qCCritical(hostLog).noquote()
            << "no plugin could be started; looked in" << directories.join(QLatin1String(", "));
        return failure;
    }
    stopSignals.deliver();
    const int status = readerGone ? failure : QCoreApplication::exec();
    host.shutdown();
    return status;
}
