// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICEPLUGIN_H
#define SERVICEPLUGIN_H

#include <custompluginmanager/pluginbase.h>

#include <QObject>
#include <QPointer>

/// What this plugin offers to the others: the object that they find in the registry under the name
/// "ServicePlugin". It follows connectivity through the object that the plugin "SyncStatus" offers.
class Service : public QObject
{
    Q_OBJECT

public:
    Service();

    /// Asks \a syncStatus for the state of the network and follows it from then on. Blocks on D-Bus
    /// where nobody in the process has asked before.
    void follow(QObject *syncStatus);

    /// Writes \a line to standard output, unless it is to be quiet.
    void say(const char *line) const;
    void setQuiet(bool quiet) { m_quiet = quiet; }

private Q_SLOTS:
    void onNetworkStateChange(bool isConnected) const;

private:
    bool m_quiet = false;
};

/// A plugin that works with another one, which it knows by name only: it includes no header of
/// SyncStatus and links nothing of it. Each operation shows what belongs into its phase.
class ServicePlugin : public custompluginmanager::PluginBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CUSTOMPLUGINMANAGER_PLUGIN_IID FILE "serviceplugin.json")

public:
    ~ServicePlugin() override;

    /// Adds --service-quiet to the agent's command line.
    QList<QCommandLineOption> commandOptions() override;
    bool parseArgumentOptions(const QStringList &arguments) override;

    /// Offers the service. Other plugins may not have done so yet, so nothing is looked up.
    bool initialize(QString *errorString) override;
    /// Everyone has: looks SyncStatus up.
    void extensionsInitialized() override;
    /// The agent is up, the time for what may block: asks SyncStatus and follows it.
    bool delayedInitialize() override;
    /// Lets go of SyncStatus while it still exists.
    void aboutToShutdown() override;

private:
    Service m_service;
    QPointer<QObject> m_syncStatus; // null by itself when that plugin goes first
};

#endif
