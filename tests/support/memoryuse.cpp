// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "memoryuse.h"

#include <QFile>
#include <QRegularExpression>

#include <malloc.h>

qint64 heapInUse()
{
#if __GLIBC_PREREQ(2, 33)
    const auto info = mallinfo2();
#else
    const auto info = mallinfo(); // which turns over at 4 GB
#endif
    return qint64(info.uordblks) + qint64(info.hblkhd);
}

double availableMemory()
{
    QFile file(QStringLiteral("/proc/meminfo"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QRegularExpression form(QStringLiteral("MemAvailable: *([0-9]+) kB"));
    const double available =
        form.match(QString::fromLatin1(file.readAll())).captured(1).toDouble() / 1024 / 1024;
    // The addresses of a 32-bit process end at 3 or 4 GiB.
    return sizeof(void *) < 8 ? qMin(available, 3.0) : available;
}
