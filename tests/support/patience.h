// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef PATIENCE_H
#define PATIENCE_H

/// How long a test waits for what must come, in milliseconds, on however busy a machine. For
/// QTRY_COMPARE_WITH_TIMEOUT and the like.
constexpr int patience = 30000;

#endif
