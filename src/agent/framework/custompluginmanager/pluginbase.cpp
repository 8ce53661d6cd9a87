// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "pluginbase.h"

namespace custompluginmanager {

PluginBase::PluginBase() = default;

PluginBase::~PluginBase() = default;

void PluginBase::aboutToShutdown() {}

} // namespace custompluginmanager
