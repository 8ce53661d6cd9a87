// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef WORKERS_H
#define WORKERS_H

struct Progress;

// The work of an agent's other threads, in rounds until the run ends; on a busy machine the rounds
// are fewer. The run fails when a result is wrong.

void encrypt(Progress &progress);     ///< 100 texts a second
void useFiles(Progress &progress);    ///< 10 times a second each operation
void runCommands(Progress &progress); ///< 5 commands a second

#endif
