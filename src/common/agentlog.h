// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef AGENTLOG_H
#define AGENTLOG_H

#include <QLoggingCategory>

/// The library's one logging category, "org.corvel.license.agent", made on first use. Every
/// diagnostic line goes through `qCDebug(ll_agent)` or `qCWarning(ll_agent)`, which test the level
/// before they evaluate anything that is streamed.
Q_DECLARE_LOGGING_CATEGORY(ll_agent)

#endif
