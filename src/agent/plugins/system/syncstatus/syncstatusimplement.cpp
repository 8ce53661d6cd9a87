// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "syncstatusimplement.h"

#include "constants.h"
#include "monitornetwork.h"

namespace syncstatus::internal {

SyncStatusImplement::SyncStatusImplement()
{
    setObjectName(QLatin1String(constants::pluginObjectName));
}

bool SyncStatusImplement::getNetworkState() const
{
    MonitorNetwork *monitor = MonitorNetwork::getInstance();
    return monitor && monitor->getNetworkState();
}

QObject *SyncStatusImplement::networkMonitor() const
{
    return MonitorNetwork::getInstance();
}

} // namespace syncstatus::internal
