// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "syncstatusplugin.h"

#include "agentlog.h"
#include "syncstatusplugin_p.h"

#include <custompluginmanager/custompluginmanager.h>

using custompluginmanager::CustomPluginManager;

namespace syncstatus {

namespace internal {

// Each use of the registry calls instance() first, so that the registry exists: a host's static
// operations need not make it by themselves.

void SyncStatusPluginPrivate::initialize()
{
    CustomPluginManager::instance();
    CustomPluginManager::addPluginImplement(&implement);
}

SyncStatusPluginPrivate::~SyncStatusPluginPrivate()
{
    // Also when it was never added: removing an unknown object is harmless.
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
    // Names "CmdPlugin" on purpose: the text is fixed, whoever searches logs relies on it.
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
