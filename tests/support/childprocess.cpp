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
    start(program, arguments, QIODevice::ReadOnly);
    if (!waitForStarted()) {
        qWarning() << program << "cannot be started:" << errorString();
        return false;
    }
    QElapsedTimer time;
    time.start();
    while (!canReadLine()) {
        const int left = int(10000 - time.elapsed());
        if (left <= 0 || !waitForReadyRead(left)) {
            stop();
            qWarning() << program << arguments << "did not become ready:" << errorString()
                       << readAllStandardError();
            return false;
        }
    }
    return true;
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
