// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef UPLINK_H
#define UPLINK_H

#include <QProcess>

/// Whether this program has been started by scripts/sandbox, without which there is no uplink.
inline bool isInSandbox()
{
    return !qEnvironmentVariableIsEmpty("SYNCSTATUS_SANDBOX_NETWORKMANAGER");
}

/// Takes the sandbox's uplink up or down. Returns, with whether it worked, when the connection has
/// come to its new state.
inline bool setUplink(bool up)
{
    return QProcess::execute(QStringLiteral("nmcli"),
                             {QStringLiteral("connection"),
                              up ? QStringLiteral("up") : QStringLiteral("down"),
                              QStringLiteral("uplink")}) == 0;
}

#endif
