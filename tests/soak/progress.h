// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef PROGRESS_H
#define PROGRESS_H

#include <QString>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>

/// The work done so far, counted in several threads.
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

    /// Workers hold it shared while they work, and a measurement holds it exclusively.
    std::shared_mutex atWork;

    /// Ends the run. The first call writes \a what as the reason of the failure.
    void fail(const QString &what);
    bool failed() const { return m_failed; }

    /// Ends the run.
    void end();
    /// Waits for \a milliseconds or the end of the run. Returns whether the run goes on.
    bool wait(int milliseconds);

private:
    std::atomic<bool> m_failed{false};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ending = false;
};

#endif
