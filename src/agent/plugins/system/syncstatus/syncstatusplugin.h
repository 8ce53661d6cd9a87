// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SYNCSTATUSPLUGIN_H
#define SYNCSTATUSPLUGIN_H

#include <custompluginmanager/pluginbase.h>

#include <QScopedPointer>

namespace syncstatus {

namespace internal {
class SyncStatusPluginPrivate;
}

/// The plugin object that the agent drives. Each operation does its work whenever it is called: the
/// agent decides the order, on one thread. Lines go to "org.corvel.license.agent" at debug level
/// unless said otherwise, each behind "codestack: ".
class SyncStatusPlugin : public custompluginmanager::PluginBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CUSTOMPLUGINMANAGER_PLUGIN_IID FILE "syncstatus.json")

public:
    SyncStatusPlugin();
    ~SyncStatusPlugin() override;

    /// Adds the implementation object to the agent's registry and writes "initialize sync status
    /// plugin". Always true; \a errorString is never touched and may be null.
    bool initialize(QString *errorString) override;
    /// Writes "extensions initialized CmdPlugin" and looks for the agent's "ServicePlugin": when it
    /// is there, writes "extensions initialized SyncStatusPlugin", else the warning "serviceObject
    /// is empty".
    void extensionsInitialized() override;
    /// Writes "delayed initialize sync status plugin". Always true.
    bool delayedInitialize() override;

private:
    Q_DECLARE_PRIVATE(internal::SyncStatusPlugin) // appends "Private" to the name, as Q_D does
    Q_DISABLE_COPY(SyncStatusPlugin)

    QScopedPointer<internal::SyncStatusPluginPrivate> d_ptr;
};

} // namespace syncstatus

#endif
