// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "pluginhost.h"

#include <custompluginmanager/pluginbase.h>

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonValue>
#include <QMetaEnum>
#include <QPluginLoader>

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

using custompluginmanager::PluginBase;
using State = Plugin::State;

Q_LOGGING_CATEGORY(hostLog, "syncstatus.agent", QtInfoMsg)

namespace {

QString label(const Plugin &plugin)
{
    return plugin.name.isEmpty() ? plugin.file : plugin.name;
}

bool isAlive(const Plugin &plugin)
{
    return plugin.object && plugin.error.isEmpty();
}

} // namespace

PluginHost::PluginHost(QObject *parent) : QObject(parent)
{
    m_delayedTimer.setSingleShot(true);
    m_delayedTimer.setInterval(custompluginmanager::DELAYED_INITIALIZE_INTERVAL);
    connect(&m_delayedTimer, &QTimer::timeout, this, &PluginHost::delayedInitializeNext);
}

PluginHost::~PluginHost()
{
    shutdown();
}

void PluginHost::find(const QString &directory)
{
    const QFileInfo info(directory);
    if (!info.isDir() || !info.isReadable()) {
        qCWarning(hostLog).noquote() << "plugin directory" << info.absoluteFilePath()
                                     << (info.isDir()    ? "cannot be read"
                                         : info.exists() ? "is not a directory"
                                                         : "does not exist");
        return;
    }
    const int before = m_directories.size();
    m_directories.insert(info.canonicalFilePath());
    if (m_directories.size() == before)
        return;
    // QDir::System includes dangling links, which then get an error message.
    const auto files = QDir(directory).entryInfoList(
        {QStringLiteral("*.so")}, QDir::Files | QDir::System | QDir::CaseSensitive, QDir::Name);
    for (const QFileInfo &file : files) {
        m_plugins.push_back(read(file.absoluteFilePath()));
        if (m_plugins.back().error.isEmpty())
            reach(m_plugins.back(), State::Found);
    }
}

Plugin PluginHost::read(const QString &file) const
{
    using namespace custompluginmanager;

    Plugin plugin;
    plugin.file = file;
    // First, because opening a pipe would wait for a writer.
    if (!QFileInfo(file).isFile()) {
        fail(plugin, QStringLiteral("not a file"));
        return plugin;
    }
    const QPluginLoader loader(file);
    plugin.metaData = loader.metaData();
    if (plugin.metaData.isEmpty()) {
        fail(plugin, loader.errorString());
        return plugin;
    }
    const QString interface = plugin.metaData.value(QLatin1String("IID")).toString();
    if (interface != QLatin1String(CUSTOMPLUGINMANAGER_PLUGIN_IID)) {
        fail(plugin, QStringLiteral("its interface is \"%1\", not \"%2\"")
                         .arg(interface, QLatin1String(CUSTOMPLUGINMANAGER_PLUGIN_IID)));
        return plugin;
    }
    const QJsonObject own = plugin.metaData.value(QLatin1String(PLUGIN_METADATA)).toObject();
    plugin.version = own.value(QLatin1String(PLUGIN_VERSION)).toString();
    const QString name = own.value(QLatin1String(PLUGIN_NAME)).toString();
    if (name.isEmpty()) {
        fail(plugin, QStringLiteral("its metadata has no name: \"%1\" must be a string")
                         .arg(QLatin1String(PLUGIN_NAME)));
        return plugin;
    }
    const auto same = std::find_if(m_plugins.begin(), m_plugins.end(),
                                   [&](const Plugin &other) { return other.name == name; });
    if (same != m_plugins.end()) {
        fail(plugin,
             QStringLiteral("a plugin named \"%1\" was found before: %2").arg(name, same->file));
        return plugin;
    }
    plugin.name = name;

    const QJsonValue disabled = own.value(QLatin1String(PLUGIN_DISABLED_BY_DEFAULT));
    if (!disabled.isUndefined() && !disabled.isBool())
        qCWarning(hostLog).noquote()
            << label(plugin) + QLatin1Char(':')
            << '"' + QLatin1String(PLUGIN_DISABLED_BY_DEFAULT) + '"' << "is not a boolean, ignored";
    plugin.enabled = !disabled.toBool(false);
    return plugin;
}

QJsonArray PluginHost::list() const
{
    QJsonArray list;
    for (const Plugin &plugin : m_plugins) {
        QJsonObject entry{{QStringLiteral("file"), plugin.file},
                          {QStringLiteral("enabled"), plugin.enabled},
                          {QStringLiteral("metaData"), plugin.metaData}};
        if (!plugin.error.isEmpty())
            entry.insert(QStringLiteral("error"), plugin.error);
        list.append(entry);
    }
    return list;
}

bool PluginHost::setEnabled(const QString &name, bool enabled)
{
    const auto found = std::find_if(m_plugins.begin(), m_plugins.end(), [&](const Plugin &plugin) {
        return plugin.state != State::Invalid && plugin.name == name;
    });
    if (found == m_plugins.end())
        return false;
    found->enabled = enabled;
    return true;
}

void PluginHost::load()
{
    for (Plugin &plugin : m_plugins) {
        if (plugin.enabled)
            guarded(plugin, "constructor", [&] { makeObject(plugin); });
    }
}

void PluginHost::makeObject(Plugin &plugin)
{
    QPluginLoader loader(plugin.file);
    loader.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    std::unique_ptr<QObject> object(loader.instance());
    if (!object) {
        fail(plugin, loader.errorString());
        return;
    }
    plugin.object = qobject_cast<PluginBase *>(object.get());
    if (!plugin.object) {
        fail(plugin, QStringLiteral("its plugin object is not a custompluginmanager::PluginBase"));
        return;
    }
    Q_UNUSED(object.release())
    reach(plugin, State::Loaded);
}

void PluginHost::addCommandOptions(QCommandLineParser &parser)
{
    for (Plugin &plugin : m_plugins) {
        if (!isAlive(plugin))
            continue;
        guarded(plugin, "commandOptions", [&] {
            const auto options = plugin.object->commandOptions();
            for (const QCommandLineOption &option : options) {
                if (!parser.addOption(option))
                    qCWarning(hostLog).noquote()
                        << label(plugin) + QLatin1String(": another option has this name already:")
                        << option.names().join(QLatin1String(", "));
            }
        });
    }
}

void PluginHost::parseArgumentOptions(const QStringList &arguments)
{
    for (Plugin &plugin : m_plugins) {
        if (!isAlive(plugin))
            continue;
        guarded(plugin, "parseArgumentOptions", [&] {
            if (!plugin.object->commandOptions().isEmpty())
                plugin.object->parseArgumentOptions(arguments);
        });
    }
}

bool PluginHost::initialize()
{
    for (Plugin &plugin : m_plugins) {
        if (!isAlive(plugin))
            continue;
        guarded(plugin, "initialize", [&] {
            QString error;
            if (plugin.object->initialize(&error))
                reach(plugin, State::Initialized);
            else
                fail(plugin,
                     QLatin1String("initialize: ") +
                         (error.isEmpty() ? QStringLiteral("failed without a reason") : error));
        });
    }
    for (Plugin &plugin : m_plugins) {
        if (!isAlive(plugin))
            delete std::exchange(plugin.object, nullptr);
    }
    for (Plugin &plugin : m_plugins) {
        if (!isAlive(plugin))
            continue;
        guarded(plugin, "extensionsInitialized", [&] {
            plugin.object->extensionsInitialized();
            reach(plugin, State::ExtensionsInitialized);
        });
    }
    m_delayedTimer.start();
    return std::any_of(m_plugins.begin(), m_plugins.end(), isAlive);
}

void PluginHost::delayedInitializeNext()
{
    while (m_nextDelayed < m_plugins.size() && !isAlive(m_plugins[m_nextDelayed]))
        ++m_nextDelayed;
    if (m_nextDelayed == m_plugins.size()) {
        Q_EMIT delayedInitializeFinished();
        return;
    }
    Plugin &plugin = m_plugins[m_nextDelayed++];
    // The result is ignored: the event loop runs before the next plugin in any case.
    guarded(plugin, "delayedInitialize", [&] {
        plugin.object->delayedInitialize();
        reach(plugin, State::Running);
    });
    m_delayedTimer.start();
}

void PluginHost::cancelDelayedInitialize()
{
    m_delayedTimer.stop();
}

void PluginHost::shutdown()
{
    cancelDelayedInitialize();
    std::for_each(m_plugins.rbegin(), m_plugins.rend(), [this](Plugin &plugin) {
        if (plugin.object && plugin.state >= State::Initialized)
            guarded(plugin, "aboutToShutdown", [&] {
                plugin.object->aboutToShutdown();
                reach(plugin, State::Stopped);
            });
    });
    std::for_each(m_plugins.rbegin(), m_plugins.rend(), [this](Plugin &plugin) {
        if (!plugin.object)
            return;
        delete std::exchange(plugin.object, nullptr);
        reach(plugin, State::Deleted);
    });
}

void PluginHost::reach(Plugin &plugin, State state)
{
    plugin.state = state;
    qCDebug(hostLog).noquote() << label(plugin) + QLatin1Char(':')
                               << QMetaEnum::fromType<State>().valueToKey(int(state));
    Q_EMIT stateReached(plugin);
}

void PluginHost::fail(Plugin &plugin, const QString &error)
{
    plugin.error = error;
    qCWarning(hostLog).noquote() << label(plugin) + QLatin1Char(':') << error;
}

template <typename Call>
void PluginHost::guarded(Plugin &plugin, const char *operation, Call call)
{
    try {
        call();
    } catch (const std::exception &exception) {
        fail(plugin, QLatin1String(operation) + QLatin1String(": threw: ") +
                         QString::fromLocal8Bit(exception.what()));
    } catch (...) {
        fail(plugin, QLatin1String(operation) + QLatin1String(": threw an exception"));
    }
}
