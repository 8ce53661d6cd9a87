// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef CHILDPROCESS_H
#define CHILDPROCESS_H

#include <QProcess>

/// A server of the test's own, which is killed when the test program ends, however it ends.
class ChildProcess : public QProcess
{
    Q_OBJECT

public:
    ChildProcess() = default;
    ~ChildProcess() override;
    Q_DISABLE_COPY(ChildProcess)

    /// Starts \a program and returns whether it has written its first line within thirty seconds,
    /// which is how these servers say that they are ready; else writes the reason as a warning,
    /// with what the program wrote to its standard error.
    bool startServer(const QString &program, const QStringList &arguments);
    /// The next line of the program's output, without its end; null when none comes within thirty
    /// seconds.
    QByteArray waitForLine();
    /// Ends the program with SIGKILL, if it runs, and returns once it is gone.
    void stop();

protected:
    void setupChildProcess() override;
};

#endif
