// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "progress.h"

#include <chrono>
#include <cstdio>

void Progress::fail(const QString &what)
{
    if (!m_failed.exchange(true))
        std::fprintf(stderr, "FAIL: %s\n", qPrintable(what));
    end();
}

void Progress::end()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ending = true;
    m_changed.notify_all();
}

bool Progress::wait(int milliseconds)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                               [this] { return m_ending; });
}
