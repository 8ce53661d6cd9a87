// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "pluginhost.h"
#include "stopsignals.h"

#include <syncstatus/monitornetwork.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>

#include <openssl/crypto.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace {

// What the process ends with; --help repeats them.
constexpr int success = 0;
constexpr int usageError = 1;
constexpr int nothingRuns = 2;

/// From where this program is, so that an installed tree can be moved.
QString installedPluginDir()
{
    const QDir programs(QCoreApplication::applicationDirPath());
    return QDir::cleanPath(
        programs.absoluteFilePath(QStringLiteral(SYNCSTATUS_PLUGIN_DIR_FROM_BINDIR)));
}

bool print(const QByteArray &text)
{
    if (std::fwrite(text.constData(), 1, size_t(text.size()), stdout) == size_t(text.size()) &&
        std::fflush(stdout) == 0)
        return true;
    const QString reason = qt_error_string(errno);
    qCCritical(hostLog).noquote() << "cannot write to standard output:" << reason;
    return false;
}

/// One line for people, at once: who watches through a pipe sees it when it happens.
void say(const QString &line)
{
    print(line.toLocal8Bit() + '\n');
}

/// The agent's own logging goes to standard error wherever that leads. Qt's default may prefer the
/// journal when standard error is no terminal.
void writeToStandardError(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    std::fprintf(stderr, "%s\n", qFormatLogMessage(type, context, text).toLocal8Bit().constData());
}

QString versionText()
{
    // Asking libcrypto is also what makes the linker keep it, whatever its defaults: the library
    // calls it without linking it, and finds it in the process.
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

/// The monitor only knows of connectivity that it has seen: there is no "offline" to be told.
void followConnectivity(const QObject *context)
{
    MonitorNetwork *monitor = MonitorNetwork::getInstance();
    QObject::connect(monitor, &MonitorNetwork::networkStateChange, context,
                     [] { say(QStringLiteral("gained connectivity")); });
    say(monitor->getNetworkState() ? QStringLiteral("online: yes")
                                   : QStringLiteral("online: not seen so far"));
}

/// Gives each of \a names to PluginHost::setEnabled(); false when one of them is unknown.
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
    qInstallMessageHandler(writeToStandardError);
    QCoreApplication::setApplicationName(QStringLiteral("syncstatus-agent"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SYNCSTATUS_VERSION));
    const QCoreApplication application(argc, argv);

    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this, with the options of the plugins that "
                                                 "are enabled, and end."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Show the version and end."));
    const QCommandLineOption pluginDir(
        QStringLiteral("plugin-dir"),
        QStringLiteral("Look for plugins in <directory>; may be given several times. Without "
                       "it: %1.")
            .arg(installedPluginDir()),
        QStringLiteral("directory"));
    const QCommandLineOption list(
        QStringLiteral("list"),
        QStringLiteral("Show the plugins that are found, with their metadata, as JSON, and end. "
                       "No plugin is loaded."));
    const QCommandLineOption enable(
        QStringLiteral("enable"),
        QStringLiteral("Load the plugin <name> although it is disabled by default."),
        QStringLiteral("name"));
    const QCommandLineOption disable(QStringLiteral("disable"),
                                     QStringLiteral("Do not load the plugin <name>."),
                                     QStringLiteral("name"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Loads plugins, starts them, and tells whether the machine is online and each gain of\n"
        "connectivity. Runs until SIGTERM or SIGINT (Ctrl-C); a second of the same ends it\n"
        "at once.\n\n"
        "Events go to standard output, diagnostics to standard error.\n\n"
        "Exit status:\n"
        "  0  stopped by SIGTERM or SIGINT; or all that was asked for is shown\n"
        "  1  the command line is wrong, or what was asked for cannot be written\n"
        "  2  no plugin could be started"));
    parser.addOptions({help, version, pluginDir, list, enable, disable});

    // Plugins add options of their own, so what is unknown is found out later. Until then an
    // unknown option is passed over.
    const bool complete = parser.parse(QCoreApplication::arguments());
    if (parser.isSet(version))
        return print(versionText().toLocal8Bit()) ? success : usageError;

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
        return print(QJsonDocument(host.list()).toJson()) ? success : usageError;
    }

    // From here on code of the plugins runs; a signal meanwhile is answered when they are up.
    StopSignals stopSignals;
    if (!parser.isSet(help))
        QObject::connect(&host, &PluginHost::stateReached, report);
    host.load();
    host.addCommandOptions(parser);
    if (parser.isSet(help))
        return print(parser.helpText().toLocal8Bit()) ? success : usageError;
    if (!parser.parse(QCoreApplication::arguments()) || !parser.positionalArguments().isEmpty())
        return wrongCommandLine(parser);
    host.parseArgumentOptions(QCoreApplication::arguments());

    for (const Plugin &plugin : host.plugins()) {
        if (plugin.state == Plugin::State::Found && !plugin.enabled)
            say(QLatin1String("disabled ") + described(plugin));
    }
    QObject::connect(&host, &PluginHost::delayedInitializeFinished, &application,
                     [&] { followConnectivity(&application); });
    QObject::connect(&stopSignals, &StopSignals::received, &application, [](int number) {
        say(QStringLiteral("stopping (%1)")
                .arg(number == SIGINT ? QLatin1String("SIGINT") : QLatin1String("SIGTERM")));
        QCoreApplication::quit();
    });
    if (!host.initialize()) {
        qCCritical(hostLog) << "no plugin could be started";
        return nothingRuns;
    }
    stopSignals.deliver();
    const int status = QCoreApplication::exec();
    host.shutdown();
    return status;
}
