// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef MEMORYUSE_H
#define MEMORYUSE_H

#include <QTest>

/// How many bytes this process has from malloc(). With a sanitizer, which has an allocator of its
/// own, it is always the same.
qint64 heapInUse();

/// How much memory this process can still get, in GiB.
double availableMemory();

/// Skips a test function that takes so many GiB where that would harm others.
#define SKIP_WITHOUT_MEMORY(gibibytes)                                                             \
    if (availableMemory() < (gibibytes))                                                           \
    QSKIP("less than " #gibibytes " GiB of memory for this process")

#endif
