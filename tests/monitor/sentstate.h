// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SENTSTATE_H
#define SENTSTATE_H

#include <QtGlobal>

/// The state in statesender's signal \a number, counted from 0: every third is global connectivity,
/// the others are all different.
inline quint32 sentState(int number)
{
    return number % 3 == 0 ? 70 : 100 + quint32(number);
}

#endif
