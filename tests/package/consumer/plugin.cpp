// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include <custompluginmanager/pluginbase.h>

#include <QObject>

class ConsumerPlugin : public custompluginmanager::PluginBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CUSTOMPLUGINMANAGER_PLUGIN_IID FILE "plugin.json")

public:
    bool initialize(QString * /*errorString*/) override { return true; }
    void extensionsInitialized() override {}
    bool delayedInitialize() override { return true; }
};

#include "plugin.moc"
