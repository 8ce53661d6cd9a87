// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef PLUGINHOST_H
#define PLUGINHOST_H

#include <QJsonArray>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <cstddef>
#include <vector>

/// The agent's own logging category, "syncstatus.agent"; its debug level is off by default.
Q_DECLARE_LOGGING_CATEGORY(hostLog)

class QCommandLineParser;

namespace custompluginmanager {
class PluginBase;
}

/// One file of a plugin directory.
struct Plugin
{
    Q_GADGET

public:
    /// How far the file has come. It moves through the states in this order, never back. A plugin
    /// that fails stays in its state, with `error` set, until the agent stops.
    enum class State {
        Invalid,               ///< No plugin of this agent; `error` says why. None of it was run.
        Found,                 ///< The metadata is read. None of its code has run.
        Loaded,                ///< The library is loaded and the plugin object made.
        Initialized,           ///< initialize() has returned true.
        ExtensionsInitialized, ///< extensionsInitialized() has returned.
        Running,               ///< delayedInitialize() has returned: it is fully started.
        Stopped,               ///< aboutToShutdown() has returned.
        Deleted,               ///< The plugin object is deleted.
    };
    Q_ENUM(State)

    QString file; ///< Absolute path.
    QString name; ///< The metadata's "Name". Empty if it is Invalid.
    QString version;
    QJsonObject metaData; ///< As QPluginLoader::metaData() gives it.
    bool enabled = false; ///< Whether load() loads it. Always false if it is Invalid.
    State state = State::Invalid;
    QString error; ///< Empty until something goes wrong.
    custompluginmanager::PluginBase *object = nullptr;
};

/// Finds the plugins of an agent, drives them through their lifecycle and deletes them.
///
/// Call in this order, from the main thread: find() for each directory, setEnabled(), load(),
/// addCommandOptions(), parseArgumentOptions(), initialize(), then run the event loop, shutdown().
/// Each of them is optional.
///
/// Plugins are handled in the order of finding: the directories as given, and the files of each by
/// name. Only shutdown() uses the reverse order.
///
/// A plugin that fails does not stop the others. It fails if the loader refuses it, if an operation
/// throws, or if initialize() returns false. Plugin::error has the reason, and so has a warning of
/// the category "syncstatus.agent". That category logs each state at debug level, which is off by
/// default.
class PluginHost : public QObject
{
    Q_OBJECT

public:
    explicit PluginHost(QObject *parent = nullptr);
    /// Calls shutdown().
    ~PluginHost() override;

    /// Adds every file "*.so" of \a directory, from its metadata. Runs no code of it. Warns about a
    /// directory that is missing or cannot be read, and ignores one that it has seen.
    ///
    /// Qt reads each file, and a damaged library can crash it: the directory must be as trusted as
    /// the agent's program. A file is Invalid if it is no plugin, has another interface than
    /// CUSTOMPLUGINMANAGER_PLUGIN_IID, has no name, or repeats the name of one found before. A
    /// plugin is not enabled if its "DisabledByDefault" is true; a value that is no boolean gives a
    /// warning.
    void find(const QString &directory);

    /// Everything that was found, Invalid files included.
    [[nodiscard]] const std::vector<Plugin> &plugins() const { return m_plugins; }

    /// plugins() as JSON, one object for each file: "file", "enabled", "metaData" as Qt gives it,
    /// and "error" if it is Invalid.
    [[nodiscard]] QJsonArray list() const;

    /// Enables or disables the plugin \a name. Returns false if no plugin has this name.
    bool setEnabled(const QString &name, bool enabled);

    /// Loads each enabled plugin and makes its plugin object. Resolves all symbols, so that the
    /// loader refuses a plugin that lacks one. With lazy binding, the first use of that symbol
    /// would end the process. The libraries stay loaded until the process ends.
    void load();

    /// Adds the plugins' options to \a parser. Leaves out an option whose name exists already, and
    /// logs a warning.
    void addCommandOptions(QCommandLineParser &parser);

    /// Passes the whole command line, the program's name first, to each plugin that has options.
    void parseArgumentOptions(const QStringList &arguments);

    /// Runs the first phase of all plugins, then the second. Between them it deletes the plugin
    /// objects that failed, so that nobody finds their objects in the registry. Returns whether at
    /// least one plugin succeeded in both.
    ///
    /// The third phase follows from the event loop, one plugin at a time, with a pause of
    /// DELAYED_INITIALIZE_INTERVAL milliseconds before each.
    bool initialize();

    /// Stops further third phases. For a caller that leaves the event loop: the loop's last
    /// iteration could still run one.
    void cancelDelayedInitialize();

    /// Calls aboutToShutdown() of every plugin that was initialised, then deletes all plugin
    /// objects, both in reverse order. Does not end a third phase that still runs.
    void shutdown();

Q_SIGNALS:
    /// \a plugin has reached its present state.
    void stateReached(const Plugin &plugin);
    /// The third phase is over for all.
    void delayedInitializeFinished();

private:
    [[nodiscard]] Plugin read(const QString &file) const;
    void makeObject(Plugin &plugin);
    void delayedInitializeNext();
    void reach(Plugin &plugin, Plugin::State state);
    static void fail(Plugin &plugin, const QString &error);
    template <typename Call>
    static void guarded(Plugin &plugin, const char *operation, Call call);

    std::vector<Plugin> m_plugins;
    QSet<QString> m_directories; // canonical paths
    QTimer m_delayedTimer;
    std::size_t m_nextDelayed = 0;
};

#endif
