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

    /// From now on signals are kept.
    static void hold();

    /// From now on signals are delivered, those that were kept first. Called last before the event
    /// loop runs, so that none is delivered to an event loop that a plugin runs while it starts.
    void deliver();

Q_SIGNALS:
    /// The process was sent the signal \a number, SIGTERM or SIGINT.
    void received(int number);

private:
    void readPipe(int descriptor);

    QSocketNotifier *m_notifier;
};

#endif
