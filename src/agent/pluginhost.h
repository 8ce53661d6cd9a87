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

/// What the agent knows of one file of a plugin directory.
struct Plugin
{
    Q_GADGET

public:
    /// How far the file has come. It moves from one state to the next, in this order, and never
    /// back. One that fails stays in the state that it had reached, with `error` set, and takes no
    /// part in what follows until the agent stops.
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
    QString name; ///< The metadata's "Name"; empty when it is Invalid for want of one.
    QString version;
    QJsonObject metaData; ///< As QPluginLoader::metaData() gives it.
    bool enabled = false; ///< Whether load() takes it; always false when it is Invalid.
    State state = State::Invalid;
    QString error; ///< Empty until something went wrong.
    custompluginmanager::PluginBase *object = nullptr;
};

/// Finds the plugins of an agent, takes them through their lifecycle and puts them away again.
///
/// Call in this order, from the main thread: find() for each directory, setEnabled(), load(),
/// addCommandOptions(), parseArgumentOptions(), initialize(), then run the event loop, shutdown().
/// None of them has to be called for the later ones to be safe.
///
/// Everywhere the order is that of finding: directory by directory as they were given, in each by
/// file name. shutdown() alone goes the other way round.
///
/// One plugin's failure stays its own: a loader error, an exception out of its constructor or out
/// of any operation, or initialize() returning false is put into Plugin::error and logged as a
/// warning of the category "syncstatus.agent", and the others go on. States that are reached are
/// logged there at debug level, which is off unless QT_LOGGING_RULES turns it on.
class PluginHost : public QObject
{
    Q_OBJECT

public:
    explicit PluginHost(QObject *parent = nullptr);
    /// Does what shutdown() does, where that was not called.
    ~PluginHost() override;

    /// Adds every file "*.so" of \a directory, from its metadata: nothing is loaded, none of its
    /// code runs. Qt reads each file, and a damaged library can crash it: the directory must be as
    /// trusted as the agent's program. A file is Invalid when it is no plugin, is made for another
    /// interface than CUSTOMPLUGINMANAGER_PLUGIN_IID, has no name, or has the name of one that was
    /// found before. A plugin whose "DisabledByDefault" is the JSON boolean true is not enabled;
    /// any value that is no boolean is warned about and disables nothing. A directory that was
    /// looked into before, under whatever name, is not looked into again. One that is missing or
    /// cannot be read is warned about.
    void find(const QString &directory);

    /// Everything that was found, Invalid files included.
    [[nodiscard]] const std::vector<Plugin> &plugins() const { return m_plugins; }

    /// What was found as JSON, one object for each file: "file", "enabled" (whether load() would
    /// take it), "metaData" as Qt gives it and, when it is Invalid, "error".
    [[nodiscard]] QJsonArray list() const;

    /// Enables or disables the plugin \a name. Returns false when no plugin has this name.
    bool setEnabled(const QString &name, bool enabled);

    /// Loads each enabled plugin and makes its plugin object. All symbols are resolved here, so
    /// that a plugin that lacks one is refused with the loader's message; bound lazily it would end
    /// the whole process at its first use. The libraries stay loaded until the process ends.
    void load();

    /// Adds the options that the plugins offer to \a parser. An option whose name is taken already
    /// is left out and warned about.
    void addCommandOptions(QCommandLineParser &parser);

    /// Hands the whole command line, the program's name first, to each plugin that offers options.
    void parseArgumentOptions(const QStringList &arguments);

    /// The first phase for all plugins, then the second for those that came through it; in between
    /// the plugin objects of the others are deleted, so that nobody finds what they have offered in
    /// the registry. The third follows from the event loop: one plugin at a time,
    /// DELAYED_INITIALIZE_INTERVAL milliseconds before each, so that other events get their turn in
    /// between. Returns whether any plugin came through the first two.
    bool initialize();

    /// The next third phase does not begin. For a caller that leaves the event loop: what is due
    /// in the loop's last turn would still be done.
    void cancelDelayedInitialize();

    /// Tells every plugin that was initialised, also one that failed later, then deletes all plugin
    /// objects; each in reverse order. A third phase that is still going on ends where it is.
    void shutdown();

Q_SIGNALS:
    /// \a plugin has moved on to the state that it holds now.
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
