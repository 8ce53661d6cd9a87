// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef ANSWER_H
#define ANSWER_H

#include <chrono>
#include <cstdio>

/// Prints how long \a isOnline takes, in nanoseconds. Returns the program's exit status: 0 if the
/// machine is online.
template <typename Question>
int measureAnswer(Question isOnline)
{
    const auto begin = std::chrono::steady_clock::now();
    const bool online = isOnline();
    const std::chrono::nanoseconds time = std::chrono::steady_clock::now() - begin;
    std::printf("%lld\n", static_cast<long long>(time.count()));
    return online ? 0 : 1;
}

#endif
