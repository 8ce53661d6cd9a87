// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTSEED_H
#define TESTSEED_H

#include <QtGlobal>

/// The seed for a test's random inputs: the number in the environment variable
/// SYNCSTATUS_TEST_SEED, or a new one for each run. It is printed, so that a run that failed can be
/// had again.
quint32 testSeed();

#endif
