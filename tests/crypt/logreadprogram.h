// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef LOGREADPROGRAM_H
#define LOGREADPROGRAM_H

#include "opensslkey.h"
#include "opensslprogram.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A pseudo-terminal.
class Terminal
{
public:
    Terminal();
    ~Terminal();
    Q_DISABLE_COPY(Terminal)

    int slave() const { return m_slave; }
    QString path() const;

    void type(const QByteArray &bytes) const;
    /// Waits until \a end has been shown. Returns everything that has been shown.
    QByteArray shownUntil(const QByteArray &end) const;

private:
    int m_master = -1;
    int m_slave = -1;
};

/// A run of syncstatus-logread in a new session, which has no terminal unless one is given.
class LogRead : public QProcess
{
public:
    explicit LogRead(const QStringList &arguments, const Terminal *terminal = nullptr);

    /// Runs to the end with \a input. Returns the exit status, or -1.
    int run(const QByteArray &input = QByteArray());

    /// Preloads logreadstandins.cpp, with the stand-in that \a variable switches on.
    void preload(const QString &variable);

    /// Waits for the end. Returns the exit status, or -1.
    int finish();

    QByteArray output;
    QByteArray error;
    bool ignoresInterruption = false;

protected:
    void setupChildProcess() override;

private:
    const Terminal *m_terminal;
};

/// What such a run is given: a key and files.
struct LogReadFiles
{
    void makeKey();
    QString path(const QString &name) const { return folder.filePath(name); }
    /// A new file. Returns its path.
    QString file(const QString &name, const QByteArray &content) const;
    /// The arguments "--key KEY LOG...".
    QStringList withKey(const QStringList &logs = QStringList()) const;

    QTemporaryDir folder;
    OpensslProgram openssl;
    OpensslKey key;
};

#endif
