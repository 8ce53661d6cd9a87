// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef TARGET_H
#define TARGET_H

#include <QByteArray>
#include <QString>

/// Ends the process with \a what and a trace unless \a holds; what the fuzzer takes for a finding.
void require(bool holds, const char *what);

/// The text in \a bytes: UTF-8, or UTF-16 units behind a byte 0, among which may be halves of
/// surrogate pairs.
QString textOf(const QByteArray &bytes);

#endif
