// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// iniwriter FILE PREFIX COUNT
// Waits for its standard input to end, then writes the keys PREFIX0, PREFIX1, ... of the group
// "shared" to FILE, each in a call of its own.

#include <syncstatus/filemanager.h>

#include <QFile>

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    const QString file = QFile::decodeName(argv[1]);
    const QString prefix = QString::fromLatin1(argv[2]);
    while (std::getchar() != EOF)
        ;
    for (int i = 0; i < std::atoi(argv[3]); ++i) {
        const QString key = prefix + QString::number(i);
        systemFileManager::FileManager::writeIniConfigFile(
            {{QStringLiteral("shared"), {{key, QStringLiteral("ü of ") + key}}}}, file);
    }
    return 0;
}
