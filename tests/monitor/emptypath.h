// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef EMPTYPATH_H
#define EMPTYPATH_H

/// A D-Bus message cannot carry an empty object path. In a program that links emptypath.cpp, this
/// one arrives as "".
constexpr char arrivesAsEmptyPath[] = "/arrives/as/empty/path";

/// How many paths have been emptied. None ever is where Qt does not take libdbus from the linker.
int emptiedPaths();

#endif
