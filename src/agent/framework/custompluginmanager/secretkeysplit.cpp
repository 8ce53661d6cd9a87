// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "secretkeysplit.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QRandomGenerator>
#include <QString>
#include <QVector>

namespace {

constexpr auto digestAlgorithm = QCryptographicHash::Sha256;
constexpr int digestSize = 32;

QByteArray digestOf(const QByteArray &secret)
{
    return QCryptographicHash::hash(secret, digestAlgorithm);
}

// The number of pieces and a piece's own number, with the hyphens that end them.
QByteArray prefixOf(int number, int count)
{
    return QByteArray::number(count) + '-' + QByteArray::number(number) + '-';
}

QByteArray randomMask(int size)
{
    QVector<quint32> words(size / int(sizeof(quint32)) + 1);
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    return {reinterpret_cast<const char *>(words.constData()), size};
}

QByteArray maskFromSecret(const QByteArray &secret, const QByteArray &prefix, int size)
{
    // One object for all blocks: it digests a long key once.
    QMessageAuthenticationCode code(digestAlgorithm, secret);
    QByteArray mask;
    for (int block = 0; mask.size() < size; ++block) {
        code.reset();
        code.addData(prefix + QByteArray::number(block));
        mask += code.result();
    }
    return mask.left(size);
}

void exclusiveOr(QByteArray &bytes, const QByteArray &with)
{
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char(bytes.at(i) ^ with.at(i));
}

} // namespace

QStringList SecretkeySplit::splitSecretKey(const QByteArray &secret, int count, Masks masks)
{
    if (secret.isEmpty() || count < 2)
        return {};

    QStringList pieces;
    QByteArray rest = digestOf(secret) + secret;
    for (int number = 1; number < count; ++number) {
        const QByteArray prefix = prefixOf(number, count);
        const QByteArray mask = masks == Masks::Random
                                    ? randomMask(rest.size())
                                    : maskFromSecret(secret, prefix, rest.size());
        exclusiveOr(rest, mask);
        pieces += QString::fromLatin1(prefix + mask.toHex());
    }
    pieces += QString::fromLatin1(prefixOf(count, count) + rest.toHex());
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
        // What is not Latin-1 becomes a question mark, which no field takes.
        const QList<QByteArray> fields = piece.toLatin1().split('-');
        if (fields.size() != 3)
            return {};
        const int number = fields.at(1).toInt();
        if (number < 1 || number > count || seen.at(number - 1))
            return {};
        seen[number - 1] = true;
        if (fields.at(0) + '-' + fields.at(1) + '-' != prefixOf(number, count))
            return {};
        const QByteArray payload = QByteArray::fromHex(fields.at(2));
        // fromHex() skips what is no digit.
        if (payload.toHex() != fields.at(2) || payload.size() <= digestSize)
            return {};
        if (joined.isEmpty())
            joined.fill('\0', payload.size());
        if (payload.size() != joined.size())
            return {};
        exclusiveOr(joined, payload);
    }

    const QByteArray secret = joined.mid(digestSize);
    return joined.left(digestSize) == digestOf(secret) ? secret : QByteArray();
}
