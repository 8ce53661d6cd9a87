// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICEPLUGIN_H
#define SERVICEPLUGIN_H

#include <custompluginmanager/pluginbase.h>

#include <QObject>
#include <QPointer>

/// The plugin's implementation object, which other plugins find under the name "ServicePlugin". It
/// follows connectivity through the object "SyncStatus".
class Service : public QObject
{
    Q_OBJECT

public:
    Service();

    /// Asks \a syncStatus for the state of the network, and follows it from then on. Blocks on
    /// D-Bus if it is the first call of this kind in the process.
    void follow(QObject *syncStatus);

    /// Writes \a line to standard output, unless quiet.
    void say(const char *line) const;
    void setQuiet(bool quiet) { m_quiet = quiet; }

private Q_SLOTS:
    void onNetworkStateChange(bool isConnected) const;

private:
    bool m_quiet = false;
};

/// A plugin that uses another plugin by name: it includes no header of SyncStatus and does not link
/// it. Each operation shows the work of its phase.
class ServicePlugin : public custompluginmanager::PluginBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CUSTOMPLUGINMANAGER_PLUGIN_IID FILE "serviceplugin.json")

public:
    ~ServicePlugin() override;

    /// Adds --service-quiet to the agent's command line.
    QList<QCommandLineOption> commandOptions() override;
    bool parseArgumentOptions(const QStringList &arguments) override;

    /// Adds the service to the registry. Other plugins may not have added their objects yet.
    bool initialize(QString *errorString) override;
    /// Finds SyncStatus: by now, every plugin has added its object.
    void extensionsInitialized() override;
    /// Asks SyncStatus and follows it. Now the agent runs, and a call may block.
    bool delayedInitialize() override;
    /// Forgets SyncStatus while it still exists.
    void aboutToShutdown() override;

private:
    Service m_service;
    QPointer<QObject> m_syncStatus; // becomes null if that plugin is deleted first
};

#endif
