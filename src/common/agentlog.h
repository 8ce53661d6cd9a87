// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef AGENTLOG_H
#define AGENTLOG_H

#include <QLoggingCategory>

/// The library's one logging category, made on first use. Every diagnostic line goes through
/// `qCDebug(ll_agent)` or `qCWarning(ll_agent)`, which test the level before they evaluate anything
/// that is streamed. Inline, unlike what Q_LOGGING_CATEGORY makes: the test is all that a line
/// costs that is switched off.
inline const QLoggingCategory &ll_agent()
{
    static const QLoggingCategory category("org.corvel.license.agent");
    return category;
}

#endif
