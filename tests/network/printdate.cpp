// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Prints the date of the seconds since 1970 that it is given.

#include <syncstatus/utils.h>

#include <QVariant>

#include <cstdio>

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    std::puts(qPrintable(utility::Utils::getServerDateTime(QByteArray(argv[1]))));
    return 0;
}
