// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "secretkeysplit.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QString>
#include <QVector>

namespace {

constexpr auto digestAlgorithm = QCryptographicHash::Sha256;
constexpr int digestSize = 32;

// The beginning of a piece, "N-i-".
QString prefixOf(int number, int count)
{
    return QString::number(count) + QLatin1Char('-') + QString::number(number) + QLatin1Char('-');
}

QByteArray maskFromSecret(const QByteArray &secret, const QString &prefix, int size)
{
    // One object for all blocks, because it digests a long key only once.
    QMessageAuthenticationCode code(digestAlgorithm, secret);
    QByteArray mask;
    for (int block = 0; mask.size() < size; ++block) {
        code.reset();
        code.addData(prefix.toLatin1() + QByteArray::number(block));
        mask += code.result();
    }
    return mask.left(size);
}

// The value of a lower-case hexadecimal digit, or -1.
int valueOf(QChar digit)
{
    const int character = digit.unicode();
    return character >= '0' && character <= '9'   ? character - '0'
           : character >= 'a' && character <= 'f' ? character - 'a' + 10
                                                  : -1;
}

} // namespace

QStringList SecretkeySplit::splitSecretKey(const QByteArray &secret, int count)
{
    if (secret.isEmpty() || count < 2)
        return {};

    QStringList pieces;
    QByteArray rest = QCryptographicHash::hash(secret, digestAlgorithm) + secret;
    for (int number = 1; number < count; ++number) {
        const QString prefix = prefixOf(number, count);
        const QByteArray mask = maskFromSecret(secret, prefix, rest.size());
        for (int i = 0; i < rest.size(); ++i)
            rest[i] = char(rest.at(i) ^ mask.at(i));
        pieces += prefix + QLatin1String(mask.toHex());
    }
    pieces += prefixOf(count, count) + QLatin1String(rest.toHex());
    return pieces;
}

QByteArray SecretkeySplit::recoverSecretKey(const QStringList &pieces)
{
    const int count = pieces.size();
    if (count < 2)
        return {};

    QByteArray joined;
    QVector<bool> seen(count);
    for (const QString &piece : pieces) {
        const int from = piece.indexOf(QLatin1Char('-')) + 1;
        const int to = piece.indexOf(QLatin1Char('-'), from);
        const int number = piece.midRef(from, to - from).toInt();
        if (number < 1 || number > count || seen.at(number - 1))
            return {};
        seen[number - 1] = true;
        const QString prefix = prefixOf(number, count);
        if (!piece.startsWith(prefix))
            return {};
        if (joined.isEmpty())
            joined.fill('\0', (piece.size() - prefix.size()) / 2);
        if (joined.size() <= digestSize || piece.size() != prefix.size() + 2 * joined.size())
            return {};
        const QChar *digit = piece.constData() + prefix.size();
        for (char &byte : joined) {
            const int high = valueOf(*digit++);
            const int low = valueOf(*digit++);
            if (high < 0 || low < 0)
                return {};
            byte = char(byte ^ (high * 16 + low));
        }
    }

    const QByteArray secret = joined.mid(digestSize);
    return joined.startsWith(QCryptographicHash::hash(secret, digestAlgorithm)) ? secret
                                                                                : QByteArray();
}
