// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// lockholder FILE MILLISECONDS
// Takes the lock FILE as QSettings does, says "locked", and keeps it for that long. Then gives it
// back and writes the time before that, in milliseconds of the clock that QElapsedTimer uses.

#include <QElapsedTimer>
#include <QFile>
#include <QLockFile>
#include <QThread>

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    QLockFile lock(QFile::decodeName(argv[1]));
    if (!lock.lock())
        return 1;
    std::puts("locked");
    std::fflush(stdout);
    QThread::msleep(std::strtoul(argv[2], nullptr, 10));
    QElapsedTimer now;
    now.start();
    lock.unlock();
    std::printf("%lld\n", static_cast<long long>(now.msecsSinceReference()));
    return 0;
}
