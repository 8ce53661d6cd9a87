// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef STOPSIGNALS_H
#define STOPSIGNALS_H

#include <QObject>

/// Turns SIGTERM and SIGINT into a Qt signal of the event loop.
///
/// A signal that arrives before the event loop runs is kept until it does. There is one object of
/// this class in a process, and it stays until the process ends.
class StopSignals : public QObject
{
    Q_OBJECT

public:
    explicit StopSignals(QObject *parent = nullptr);

Q_SIGNALS:
    /// The process was sent the signal \a number, SIGTERM or SIGINT.
    void received(int number);

private:
    void readPipe(int descriptor);
};

#endif
