// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef PROGRESS_H
#define PROGRESS_H

#include <QString>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>

/// What has been done so far, counted in several threads.
struct Progress
{
    std::atomic<qint64> signalsSent{0};
    std::atomic<qint64> signalsSeen{0}; ///< lines that the monitor has written for them
    std::atomic<qint64> announced{0};
    std::atomic<qint64> monitors{0};
    std::atomic<qint64> restarts{0};
    std::atomic<qint64> encryptions{0};
    std::atomic<qint64> decryptions{0};
    std::atomic<qint64> files{0};
    std::atomic<qint64> commands{0};
    std::atomic<qint64> records{0};
    std::atomic<qint64> lines{0};

    /// A worker's shared while it has anything in hand, and exclusive to who looks at what is held.
    std::shared_mutex atWork;

    /// Writes \a what as the reason of the failure, the first time, and has the run end.
    void fail(const QString &what);
    bool failed() const { return m_failed; }

    /// Has the run end.
    void end();
    /// Waits until \a milliseconds have passed or the run is to end; returns whether it goes on.
    bool wait(int milliseconds);

private:
    std::atomic<bool> m_failed{false};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ending = false;
};

#endif
