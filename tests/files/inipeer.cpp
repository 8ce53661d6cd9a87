// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Another process that uses an INI file.
//
// inipeer write FILE PREFIX COUNT
// Waits for its standard input to end, then writes the keys PREFIX0, PREFIX1, ... of the group
// "shared" to FILE, each in another call.
//
// inipeer lock FILE MILLISECONDS
// Takes the lock FILE as QSettings does, says "locked", and keeps it for that long. Then releases
// it and writes the time before that, in milliseconds of the clock that QElapsedTimer uses.

#include <syncstatus/filemanager.h>

#include <QElapsedTimer>
#include <QFile>
#include <QLockFile>
#include <QThread>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int write(const QString &file, const QString &prefix, int count)
{
    while (std::getchar() != EOF)
        ;
    for (int i = 0; i < count; ++i) {
        const QString key = prefix + QString::number(i);
        systemFileManager::FileManager::writeIniConfigFile(
            {{"shared", {{key, QStringLiteral("ü of ") + key}}}}, file);
    }
    return 0;
}

int lock(const QString &file, unsigned long milliseconds)
{
    QLockFile lock(file);
    if (!lock.lock())
        return 1;
    std::puts("locked");
    std::fflush(stdout);
    QThread::msleep(milliseconds);
    QElapsedTimer now;
    now.start();
    lock.unlock();
    std::printf("%lld\n", static_cast<long long>(now.msecsSinceReference()));
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 5 && std::strcmp(argv[1], "write") == 0)
        return write(QFile::decodeName(argv[2]), argv[3], std::atoi(argv[4]));
    if (argc == 4 && std::strcmp(argv[1], "lock") == 0)
        return lock(QFile::decodeName(argv[2]), std::strtoul(argv[3], nullptr, 10));
    return 2;
}
