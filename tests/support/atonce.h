// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef ATONCE_H
#define ATONCE_H

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

/// Runs work(0), work(1), ... work(count - 1), each in a thread of its own; none starts before all
/// threads are there. Returns when all have ended. The threads are the C++ library's, as the thread
/// sanitizer does not see when a QThread ends.
inline void atOnce(int count, const std::function<void(int)> &work)
{
    std::atomic<int> missing{count};
    std::vector<std::thread> threads;
    threads.reserve(size_t(count));
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&, i] {
            --missing;
            while (missing > 0)
                std::this_thread::yield();
            work(i);
        });
    for (std::thread &thread : threads)
        thread.join();
}

#endif
