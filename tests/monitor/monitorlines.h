// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef MONITORLINES_H
#define MONITORLINES_H

#include "logcapture.h"

// The monitor's lines as LogCapture::takeLines() returns them.

inline QString primaryLine(const QString &path)
{
    return agentWarning(
        QStringLiteral("codestack:  get primary connection path: \"%1\"").arg(path));
}

inline QString deviceLine(const QString &path)
{
    return agentWarning(QStringLiteral("codestack:  device interface path: \"%1\"").arg(path));
}

inline QString stateLine(quint32 state)
{
    return agentWarning(QStringLiteral("codestack:  current device network state: %1").arg(state));
}

inline QString errorLine()
{
    return agentWarning(QStringLiteral("codestack:  get network state error!"));
}

inline QString changeLine(quint32 state)
{
    return agentWarning(
        QStringLiteral("codestack:  current network state is changed: %1").arg(state));
}

inline QString answerLine(bool answer)
{
    return agentWarning(QStringLiteral("codestack:  getNetworkState: %1 \n")
                            .arg(answer ? QLatin1String("true") : QLatin1String("false")));
}

#endif
