// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef NEWMONITOR_H
#define NEWMONITOR_H

#include <QStringList>

/// Makes a monitor, asks it once, and returns all lines, that of its answer included. Fails the
/// test when the construction waited for a call that was given up: also a wrong answer is an
/// answer. \a blocked gets the time of the construction, in milliseconds.
QStringList linesOfNewMonitor(qint64 *blocked = nullptr);

#endif
