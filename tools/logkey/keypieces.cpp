// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "keypieces.h"

#include <custompluginmanager/secretkeysplit.h>

#include <QStringList>

QByteArray joinPieces(QByteArray content, QString *error)
{
    // The lines as the build takes them, see LogKeyHeader.cmake.
    content.replace("\r\n", "\n");
    // With its size: the text of a byte array alone would end at a NUL.
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
