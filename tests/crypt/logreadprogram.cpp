// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreadprogram.h"

#include <QFile>
#include <QProcessEnvironment>
#include <QTest>

#include <pty.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <csignal>

Terminal::Terminal()
{
    if (openpty(&m_master, &m_slave, nullptr, nullptr, nullptr) != 0)
        qFatal("no pseudo-terminal");
}

Terminal::~Terminal()
{
    close(m_master);
    close(m_slave);
}

QString Terminal::path() const
{
    return QString::fromLocal8Bit(ttyname(m_slave));
}

void Terminal::type(const QByteArray &bytes) const
{
    QCOMPARE(write(m_master, bytes.constData(), size_t(bytes.size())), ssize_t(bytes.size()));
}

QByteArray Terminal::shownUntil(const QByteArray &end) const
{
    QByteArray shown;
    while (!shown.contains(end)) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(m_master, &readable);
        timeval patience{30, 0};
        char buffer[4096];
        if (select(m_master + 1, &readable, nullptr, nullptr, &patience) <= 0)
            break;
        const ssize_t size = read(m_master, buffer, sizeof buffer);
        if (size <= 0)
            break;
        shown.append(buffer, int(size));
    }
    return shown;
}

LogRead::LogRead(const QStringList &arguments, const Terminal *terminal) : m_terminal(terminal)
{
    setProgram(QStringLiteral(LOGREAD_PROGRAM));
    setArguments(arguments);
}

int LogRead::run(const QByteArray &input)
{
    start();
    write(input);
    closeWriteChannel();
    return finish();
}

void LogRead::preload(const QString &variable)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(LOGREAD_STANDINS));
    environment.insert(variable, QStringLiteral("1"));
    // AddressSanitizer wants to be loaded first. The stand-ins need to be.
    environment.insert(QStringLiteral("ASAN_OPTIONS"),
                       environment.value(QStringLiteral("ASAN_OPTIONS")) +
                           QStringLiteral(":verify_asan_link_order=0"));
    setProcessEnvironment(environment);
}

int LogRead::finish()
{
    if (!waitForFinished(30000) || exitStatus() != NormalExit)
        return -1;
    output = readAllStandardOutput();
    error = readAllStandardError();
    return exitCode();
}

void LogRead::setupChildProcess()
{
    setsid();
    // Also when the tests run with SIGINT ignored.
    signal(SIGINT, ignoresInterruption ? SIG_IGN : SIG_DFL);
    if (m_terminal)
        ioctl(m_terminal->slave(), TIOCSCTTY, 0);
}

void LogReadFiles::makeKey()
{
    key = OpensslKey(&openssl, folder.path(), 3072);
}

QString LogReadFiles::file(const QString &name, const QByteArray &content) const
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

QStringList LogReadFiles::withKey(const QStringList &logs) const
{
    return QStringList({QStringLiteral("--key"), key.file()}) + logs;
}
