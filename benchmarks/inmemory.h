// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef INMEMORY_H
#define INMEMORY_H

#include <QDir>
#include <QString>
#include <QTemporaryDir>

/// The path of a file of this process, in memory (tmpfs) if there is /dev/shm, so that no disk is
/// measured.
inline QString inMemory(const char *name)
{
    static const QTemporaryDir directory((QDir(QStringLiteral("/dev/shm")).exists()
                                              ? QStringLiteral("/dev/shm")
                                              : QDir::tempPath()) +
                                         QStringLiteral("/syncstatus-XXXXXX"));
    return directory.filePath(QLatin1String(name));
}

#endif
