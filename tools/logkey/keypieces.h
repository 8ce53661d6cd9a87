// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef KEYPIECES_H
#define KEYPIECES_H

#include <QByteArray>
#include <QString>

/// As many as rsacrypt.cpp joins.
constexpr int keyPieceCount = 3;

/// The pieces in the bytes of a built library, one a line, or empty if there are none. Sets
/// \a isDevelopmentKey to whether the build made the key.
QByteArray piecesInLibrary(const QByteArray &library, bool *isDevelopmentKey);

/// Joins the pieces in the content of a file, as the library does. The file has one piece a line,
/// in ascending order. Returns an empty text on failure, with the reason in \a error.
QByteArray joinPieces(QByteArray content, QString *error);

#endif
