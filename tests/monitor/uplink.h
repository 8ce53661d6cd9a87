// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef UPLINK_H
#define UPLINK_H

#include <QProcess>

/// Whether scripts/sandbox has started this program: only there is an uplink.
inline bool isInSandbox()
{
    return !qEnvironmentVariableIsEmpty("SYNCSTATUS_SANDBOX_NETWORKMANAGER");
}

/// Takes the sandbox's uplink up or down, and waits for the connection's new state. Returns whether
/// it worked.
inline bool setUplink(bool up)
{
    return QProcess::execute(QStringLiteral("nmcli"),
                             {QStringLiteral("connection"),
                              up ? QStringLiteral("up") : QStringLiteral("down"),
                              QStringLiteral("uplink")}) == 0;
}

#endif
