// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include <QByteArray>
#include <QString>

/// The line that executeCmd writes after an attempt, as LogCapture::takeLines() gives it.
QString attemptLine(const QString &command, const QString &exitStatus, int exitCode,
                    const QString &error, const QString &errorString);
/// The same for an attempt that QProcess has nothing to say against.
QString goodLine(const QString &command, int exitCode = 0);
/// For an attempt that ended by a signal, that could not start bash, that timed out.
QString crashLine(const QString &command, int signal);
QString failedToStartLine(const QString &command);
QString timedOutLine(const QString &command);
/// What QProcess itself says when it is started while it runs.
QString alreadyRunningLine();

/// A variable of this process's environment, and so of its children's, changed for a scope.
class ScopedVariable
{
public:
    ScopedVariable(const char *name, const QByteArray &value);
    ~ScopedVariable();
    Q_DISABLE_COPY(ScopedVariable)

private:
    const char *m_name;
    bool m_wasSet;
    QByteArray m_previous;
};

#endif
