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

/// The keys of a plugin's metadata: "MetaData" is Qt's own key of the plugin's JSON object, the
/// others are keys of that object. Name, Version, Category and Description are strings,
/// DisabledByDefault is a boolean.
constexpr char PLUGIN_METADATA[] = "MetaData";
constexpr char PLUGIN_NAME[] = "Name";
constexpr char PLUGIN_VERSION[] = "Version";
constexpr char PLUGIN_DESCRIPTION[] = "Description";
constexpr char PLUGIN_DISABLED_BY_DEFAULT[] = "DisabledByDefault";
constexpr char PLUGIN_CATEGORY[] = "Category";

/// The pause before each plugin's delayedInitialize(), in milliseconds.
constexpr int DELAYED_INITIALIZE_INTERVAL = 20;

/// The base class of every plugin object. The agent makes it without a parent, calls everything
/// here from its main thread, and deletes it.
///
/// The order of the virtual operations is part of the binary interface: plugins are built apart
/// from the agent. Do not reorder them, and add only at the end.
class CUSTOMPLUGINMANAGER_EXPORT PluginBase : public QObject
{
    Q_OBJECT

public:
    PluginBase();
    ~PluginBase() override;

    /// First phase: adds what other plugins are to find to the registry. Other plugins may not have
    /// been initialised yet. On failure returns false and says why in \a errorString (may be null);
    /// the plugin object is then deleted before the second phase, and what it has added to the
    /// registry has to go with it.
    virtual bool initialize(QString *errorString) = 0;
    /// Second phase: every plugin has been through initialize(); looks up what others offer.
    virtual void extensionsInitialized() = 0;
    /// Third phase, from the event loop once the agent is up: the place for what takes time.
    /// Returns whether it did anything that did.
    virtual bool delayedInitialize() = 0;
    /// Whether \a data is accepted; may change it. The default accepts nothing.
    virtual bool verify(QByteArray &data)
    {
        Q_UNUSED(data)
        return false;
    }
    /// The options that the plugin adds to the agent's command line. Asked for before initialize().
    virtual QList<QCommandLineOption> commandOptions() { return {}; }
    /// Is given the agent's command line, the program's name first, when the plugin has options of
    /// its own; the agent has checked it. Returns whether it took any argument.
    virtual bool parseArgumentOptions(const QStringList &arguments)
    {
        Q_UNUSED(arguments)
        return false;
    }
    /// The agent is about to stop: plugins are told in the reverse order of their initialisation,
    /// before any of them is deleted. The default does nothing.
    virtual void aboutToShutdown();

private:
    Q_DISABLE_COPY(PluginBase)
};

} // namespace custompluginmanager

#endif
