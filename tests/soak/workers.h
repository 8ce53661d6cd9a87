// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef WORKERS_H
#define WORKERS_H

struct Progress;

// What an agent does in threads beside its main thread. Each works in rounds, ten a second or fewer
// on a busy machine, until the run is to end, and has it fail when anything comes out wrong.

void encrypt(Progress &progress);     ///< 100 texts a second
void useFiles(Progress &progress);    ///< 10 times a second each operation
void runCommands(Progress &progress); ///< 5 commands a second

#endif
