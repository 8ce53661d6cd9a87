// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SYNCSTATUS_CONSTANTS_H
#define SYNCSTATUS_CONSTANTS_H

#include <QtGlobal>

namespace syncstatus::constants {

/// The name of the implementation object in the agent's registry.
constexpr char pluginObjectName[] = "SyncStatus";

/// NM_STATE_CONNECTED_GLOBAL of NetworkManager's NMState. Site-wide (60) and local (50)
/// connectivity do not count as connected.
constexpr quint32 networkConnected = 70;

/// NM_DEVICE_STATE_ACTIVATED of NetworkManager's NMDeviceState.
constexpr quint32 networkDeviceConnected = 100;

} // namespace syncstatus::constants

#endif
