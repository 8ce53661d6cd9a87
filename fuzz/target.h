// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef TARGET_H
#define TARGET_H

#include <QByteArray>
#include <QString>

/// If \a holds is false, ends the process with \a what and a trace, which is a finding.
void require(bool holds, const char *what);

/// The text in \a bytes: UTF-8, or UTF-16 units after a byte 0. These can include halves of
/// surrogate pairs.
QString textOf(const QByteArray &bytes);

#endif
