// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef KEYPIECES_H
#define KEYPIECES_H

#include <QByteArray>
#include <QString>

/// The library has room for three, see rsacrypt.cpp.
constexpr int keyPieceCount = 3;

/// The pieces in the bytes of a built library, one a line; empty when it carries none. Sets
/// \a isDevelopmentKey to whether the build made the key itself.
QByteArray piecesInLibrary(const QByteArray &library, bool *isDevelopmentKey);

/// The text that the pieces in a file join to, one a line and in ascending order, as a build takes
/// them and the library joins them. Empty on failure, with the reason in \a error.
QByteArray joinPieces(QByteArray content, QString *error);

#endif
