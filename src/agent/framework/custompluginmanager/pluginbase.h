// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef CUSTOMPLUGINMANAGER_PLUGINBASE_H
#define CUSTOMPLUGINMANAGER_PLUGINBASE_H

#include <custompluginmanager/custompluginmanager_export.h>

#include <QByteArray>
#include <QCommandLineOption>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

/// The identifier of the agent's plugin interface: the IID that a plugin names in
/// Q_PLUGIN_METADATA and that the agent requires.
#define CUSTOMPLUGINMANAGER_PLUGIN_IID "com.tav.Keldrin.TAVKeldrinPlugin"

namespace custompluginmanager {

/// The keys of a plugin's metadata. "MetaData" is Qt's key of the plugin's own JSON object; the
/// others are keys of that object. "DisabledByDefault" is a boolean, the others are strings.
constexpr char PLUGIN_METADATA[] = "MetaData";
constexpr char PLUGIN_NAME[] = "Name";
constexpr char PLUGIN_VERSION[] = "Version";
constexpr char PLUGIN_DESCRIPTION[] = "Description";
constexpr char PLUGIN_DISABLED_BY_DEFAULT[] = "DisabledByDefault";
constexpr char PLUGIN_CATEGORY[] = "Category";

/// The pause before each plugin's delayedInitialize(), in milliseconds.
constexpr int DELAYED_INITIALIZE_INTERVAL = 20;

/// The base class of every plugin object. The agent makes it without a parent, drives it through
/// three phases and deletes it.
///
/// \code
/// class Service : public custompluginmanager::PluginBase
/// {
///     bool initialize(QString *) override { return true; }
///     void extensionsInitialized() override {}
///     bool delayedInitialize() override { return false; }
/// };
/// \endcode
///
/// - Threads: the agent calls everything from its main thread.
/// - Blocking: an operation that blocks delays the agent; only delayedInitialize() may take time.
/// - Failure: initialize() returns false. The agent also survives an exception.
///
/// **The order of the virtual operations is part of the binary interface.** Add new ones at the
/// end.
class CUSTOMPLUGINMANAGER_EXPORT PluginBase : public QObject
{
    Q_OBJECT

public:
    PluginBase();
    ~PluginBase() override;

    /// First phase: adds objects for other plugins to the registry. Other plugins may not have been
    /// initialised yet.
    ///
    /// Returns false on failure and gives the reason in \a errorString, which may be null. The
    /// agent then deletes the plugin object, which must remove its objects from the registry.
    virtual bool initialize(QString *errorString) = 0;
    /// Second phase: looks up the objects of other plugins. All plugins have been initialised.
    virtual void extensionsInitialized() = 0;
    /// Third phase, from the event loop: the place for work that takes time. Returns whether it did
    /// such work.
    virtual bool delayedInitialize() = 0;
    /// Whether \a data is accepted; may change it. The default accepts nothing.
    virtual bool verify(QByteArray &data)
    {
        Q_UNUSED(data)
        return false;
    }
    /// The options that the plugin adds to the agent's command line. Called before initialize().
    virtual QList<QCommandLineOption> commandOptions() { return {}; }
    /// Receives the agent's checked command line, the program's name first, if the plugin has
    /// options. Returns whether it used any argument.
    virtual bool parseArgumentOptions(const QStringList &arguments)
    {
        Q_UNUSED(arguments)
        return false;
    }
    /// The agent is about to stop. Called in the reverse order of initialisation, before any plugin
    /// object is deleted. The default does nothing.
    virtual void aboutToShutdown();

private:
    Q_DISABLE_COPY(PluginBase)
};

} // namespace custompluginmanager

#endif
