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

/// The plugin object that the agent drives, on one thread. The operations do not check the order of
/// their calls. Their lines go to "org.corvel.license.agent", each after "codestack: ", at debug
/// level unless a warning is named.
class SyncStatusPlugin : public custompluginmanager::PluginBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CUSTOMPLUGINMANAGER_PLUGIN_IID FILE "syncstatus.json")

public:
    SyncStatusPlugin();
    ~SyncStatusPlugin() override;

    /// Adds the implementation object to the agent's registry and writes "initialize sync status
    /// plugin". Always returns true. Never uses \a errorString, which may be null.
    bool initialize(QString *errorString) override;
    /// Writes "extensions initialized CmdPlugin". Then looks for the agent's "ServicePlugin". If it
    /// is there, writes "extensions initialized SyncStatusPlugin", else the warning "serviceObject
    /// is empty".
    void extensionsInitialized() override;
    /// Writes "delayed initialize sync status plugin". Always returns true.
    bool delayedInitialize() override;

private:
    Q_DECLARE_PRIVATE(internal::SyncStatusPlugin) // appends "Private" to the name, as Q_D does
    Q_DISABLE_COPY(SyncStatusPlugin)

    QScopedPointer<internal::SyncStatusPluginPrivate> d_ptr;
};

} // namespace syncstatus

#endif
