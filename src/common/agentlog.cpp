// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "agentlog.h"

Q_LOGGING_CATEGORY(ll_agent, "org.corvel.license.agent")
