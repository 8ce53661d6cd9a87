// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef STOPSIGNALS_H
#define STOPSIGNALS_H

#include <QObject>

class QSocketNotifier;

/// Turns SIGTERM and SIGINT into a Qt signal of the event loop. A process has one object of this
/// class.
///
/// Before hold() both end the process at once. After it a signal is kept until deliver(). A second
/// one of its kind ends the process at once, because an orderly stop may hang.
class StopSignals : public QObject
{
    Q_OBJECT

public:
    explicit StopSignals(QObject *parent = nullptr);

    /// Keeps signals from now on.
    static void hold();

    /// Delivers signals from now on, the kept ones first. Call it last before the event loop runs.
    /// A plugin may run an event loop while it starts, and that must not deliver any.
    void deliver();

Q_SIGNALS:
    /// The process was sent the signal \a number, SIGTERM or SIGINT.
    void received(int number);

private:
    void readPipe(int descriptor);

    QSocketNotifier *m_notifier;
};

#endif
