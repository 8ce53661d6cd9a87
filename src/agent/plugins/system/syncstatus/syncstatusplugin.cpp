// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "syncstatusplugin.h"

#include "agentlog.h"
#include "syncstatusplugin_p.h"

#include <custompluginmanager/custompluginmanager.h>

using custompluginmanager::CustomPluginManager;

namespace syncstatus {

namespace internal {

// instance() comes before each use of the registry, because only that call has to make it.

void SyncStatusPluginPrivate::initialize()
{
    CustomPluginManager::instance();
    CustomPluginManager::addPluginImplement(&implement);
}

SyncStatusPluginPrivate::~SyncStatusPluginPrivate()
{
    // The object may never have been added. Removing it is harmless then.
    CustomPluginManager::instance();
    CustomPluginManager::removePluginImplement(&implement);
}

} // namespace internal

SyncStatusPlugin::SyncStatusPlugin() : d_ptr(new internal::SyncStatusPluginPrivate) {}

SyncStatusPlugin::~SyncStatusPlugin() = default;

bool SyncStatusPlugin::initialize(QString *errorString)
{
    Q_UNUSED(errorString)
    Q_D(internal::SyncStatusPlugin);
    d->initialize();
    qCDebug(ll_agent) << "codestack: "
                      << "initialize sync status plugin";
    return true;
}

void SyncStatusPlugin::extensionsInitialized()
{
    // "CmdPlugin" is deliberate: the text is fixed, and people search logs for it.
    qCDebug(ll_agent) << "codestack: "
                      << "extensions initialized CmdPlugin";
    CustomPluginManager::instance();
    if (!CustomPluginManager::getPluginImpByName(QLatin1String("ServicePlugin"))) {
        qCWarning(ll_agent) << "codestack: "
                            << "serviceObject is empty";
        return;
    }
    qCDebug(ll_agent) << "codestack: "
                      << "extensions initialized SyncStatusPlugin";
}

bool SyncStatusPlugin::delayedInitialize()
{
    qCDebug(ll_agent) << "codestack: "
                      << "delayed initialize sync status plugin";
    return true;
}

} // namespace syncstatus
