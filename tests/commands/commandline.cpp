// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"

#include "logcapture.h"

#include <QDebug>

namespace {

QString quoted(const QString &text)
{
    QString result;
    QDebug(&result).nospace() << text;
    return result;
}

} // namespace

QString attemptLine(const QString &command, const QString &exitStatus, int exitCode,
                    const QString &error, const QString &errorString)
{
    return agentWarning(QLatin1String("cmd:  ") + quoted(command) +
                        QLatin1String("  exitStatus:  QProcess::") + exitStatus +
                        QLatin1String("  exitCode:  ") + QString::number(exitCode) +
                        QLatin1String("  error:  QProcess::") + error +
                        QLatin1String("  errorString:  ") + quoted(errorString));
}

QString goodLine(const QString &command, int exitCode)
{
    return attemptLine(command, QStringLiteral("NormalExit"), exitCode,
                       QStringLiteral("UnknownError"), QStringLiteral("Unknown error"));
}

QString crashLine(const QString &command, int signal)
{
    return attemptLine(command, QStringLiteral("CrashExit"), signal, QStringLiteral("Crashed"),
                       QStringLiteral("Process crashed"));
}

QString failedToStartLine(const QString &command)
{
    return attemptLine(command, QStringLiteral("NormalExit"), 255, QStringLiteral("FailedToStart"),
                       QStringLiteral("execvp: No such file or directory"));
}

QString timedOutLine(const QString &command)
{
    return attemptLine(command, QStringLiteral("NormalExit"), 0, QStringLiteral("Timedout"),
                       QStringLiteral("Process operation timed out"));
}

QString alreadyRunningLine()
{
    return QStringLiteral("warning default: QProcess::start: Process is already running");
}

ScopedVariable::ScopedVariable(const char *name, const QByteArray &value)
    : m_name(name), m_wasSet(qEnvironmentVariableIsSet(name)), m_previous(qgetenv(name))
{
    qputenv(name, value);
}

ScopedVariable::~ScopedVariable()
{
    if (m_wasSet)
        qputenv(m_name, m_previous);
    else
        qunsetenv(m_name);
}
