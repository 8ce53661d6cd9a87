// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef EMPTYPATH_H
#define EMPTYPATH_H

/// A D-Bus message cannot carry an empty object path. In a program that links emptypath.cpp, this
/// one arrives as "".
constexpr char arrivesAsEmptyPath[] = "/arrives/as/empty/path";

/// How many paths have arrived as "". Always 0 where Qt loads libdbus by itself.
int emptiedPaths();

#endif
