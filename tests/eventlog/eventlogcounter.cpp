// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A stand-in of the platform's event-log library that several threads may call at once. It counts
// the calls without an order between them, so that it hides no race from the thread sanitizer.

#include <atomic>
#include <string>

#define STANDIN_EXPORT extern "C" __attribute__((visibility("default")))

STANDIN_EXPORT std::atomic<int> initialized;
std::atomic<int> initialized{0};
STANDIN_EXPORT std::atomic<int> written;
std::atomic<int> written{0};

STANDIN_EXPORT bool Initialize(const std::string &, bool)
{
    initialized.fetch_add(1, std::memory_order_relaxed);
    return true;
}

STANDIN_EXPORT bool WriteEventLog(const std::string &)
{
    written.fetch_add(1, std::memory_order_relaxed);
    return true;
}
