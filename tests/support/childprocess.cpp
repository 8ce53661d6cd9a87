// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "childprocess.h"

#include <QDebug>
#include <QElapsedTimer>

#include <sys/prctl.h>

#include <csignal>

ChildProcess::~ChildProcess()
{
    stop();
}

bool ChildProcess::startServer(const QString &program, const QStringList &arguments)
{
    stop(); // it may have ended unnoticed
    start(program, arguments, QIODevice::ReadOnly);
    if (!waitForStarted()) {
        qWarning() << program << "cannot be started:" << errorString();
        return false;
    }
    if (waitForLine().isNull()) {
        stop();
        qWarning() << program << arguments << "did not become ready:" << errorString()
                   << readAllStandardError();
        return false;
    }
    return true;
}

QByteArray ChildProcess::waitForLine()
{
    QElapsedTimer time;
    time.start();
    while (!canReadLine()) {
        const int left = int(30000 - time.elapsed());
        if (left <= 0 || !waitForReadyRead(left))
            return {};
    }
    const QByteArray line = readLine();
    return line.left(line.size() - 1);
}

void ChildProcess::stop()
{
    if (state() == NotRunning)
        return;
    kill();
    waitForFinished();
}

void ChildProcess::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

#include "moc_childprocess.cpp"
