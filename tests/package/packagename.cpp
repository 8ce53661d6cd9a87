// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Prints the package that owns a program.

#include <syncstatus/utils.h>

#include <QString>

#include <cstdio>

int main(int argc, char *argv[])
{
    const QString program = QString::fromLocal8Bit(argc > 1 ? argv[1] : "");
    std::puts(qPrintable(utility::Utils::getPackageNameByProcessName(program)));
    return 0;
}
