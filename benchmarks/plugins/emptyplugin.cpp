// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include <custompluginmanager/pluginbase.h>

class EmptyPlugin : public custompluginmanager::PluginBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CUSTOMPLUGINMANAGER_PLUGIN_IID)

public:
    bool initialize(QString *) override { return true; }
    void extensionsInitialized() override {}
    bool delayedInitialize() override { return true; }
};

#include "emptyplugin.moc"
