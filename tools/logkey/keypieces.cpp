// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "keypieces.h"

#include <custompluginmanager/secretkeysplit.h>

#include <QRegularExpression>
#include <QStringList>

QByteArray piecesInLibrary(const QByteArray &library, bool *isDevelopmentKey)
{
    const QString bytes = QString::fromLatin1(library.constData(), library.size());
    QByteArray pieces;
    for (int i = 1; i <= keyPieceCount; ++i) {
        // As LogKeyHeader.cmake writes them, with the mark after the last one's NUL.
        const QRegularExpression text(
            QStringLiteral("%1-%2-[!-~]+\\x00(development key\\x00)?").arg(keyPieceCount).arg(i));
        const QRegularExpressionMatch match = text.match(bytes);
        if (!match.hasMatch())
            return {};
        pieces += match.captured().section(QChar(0), 0, 0).toLatin1() + '\n';
        *isDevelopmentKey = match.capturedLength(1) > 0;
    }
    return pieces;
}

QByteArray joinPieces(QByteArray content, QString *error)
{
    // Takes the same lines as LogKeyHeader.cmake.
    content.replace("\r\n", "\n");
    // Passes the size: the overload for a QByteArray ends at the first NUL.
    QStringList pieces =
        QString::fromLatin1(content.constData(), content.size()).split(QLatin1Char('\n'));
    if (pieces.last().isEmpty())
        pieces.removeLast();
    if (pieces.size() != keyPieceCount) {
        *error = QStringLiteral("%1 pieces are needed, one a line, but there are %2 lines")
                     .arg(keyPieceCount)
                     .arg(pieces.size());
        return {};
    }
    for (int i = 0; i < keyPieceCount; ++i) {
        const QString prefix = QStringLiteral("%1-%2-").arg(keyPieceCount).arg(i + 1);
        if (!pieces.at(i).startsWith(prefix)) {
            *error = QStringLiteral("line %1 does not begin with \"%2\"").arg(i + 1).arg(prefix);
            return {};
        }
    }
    QByteArray text = SecretkeySplit::recoverSecretKey(pieces);
    if (text.isEmpty())
        *error = QStringLiteral("the pieces do not join: one of them is damaged, doubled or from "
                                "another split");
    return text;
}
