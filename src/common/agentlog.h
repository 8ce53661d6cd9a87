// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef AGENTLOG_H
#define AGENTLOG_H

#include <QLoggingCategory>

/// The library's one logging category, made on first use. Every diagnostic line uses
/// `qCDebug(ll_agent)` or `qCWarning(ll_agent)`, which test the level before they evaluate the
/// line. Inline, unlike the function of Q_LOGGING_CATEGORY, so that a line that is off costs no
/// more than this test.
inline const QLoggingCategory &ll_agent()
{
    static const QLoggingCategory category("org.corvel.license.agent");
    return category;
}

#endif
