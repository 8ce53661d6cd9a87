// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// SecretkeySplit. All pieces together give the secret, and fewer pieces do not. Any text as pieces
// is either joined or refused.

#include "judge.h"

#include <custompluginmanager/secretkeysplit.h>

#include <algorithm>

namespace {

/// The exclusive or of the payloads of \a pieces, without the digest before the secret.
QByteArray joined(const QStringList &pieces)
{
    QByteArray bytes;
    for (const QString &piece : pieces) {
        const QByteArray payload =
            QByteArray::fromHex(piece.section(QLatin1Char('-'), 2).toLatin1());
        if (bytes.isEmpty())
            bytes.fill('\0', payload.size());
        require(payload.size() == bytes.size(), "pieces of one length");
        std::transform(bytes.begin(), bytes.end(), payload.begin(), bytes.begin(),
                       [](char a, char b) { return char(a ^ b); });
    }
    return bytes.mid(32);
}

void splitAndRecover(const QByteArray &secret, int count, int variation)
{
    QStringList pieces = SecretkeySplit::splitSecretKey(secret, count);
    if (secret.isEmpty() || count < 2) {
        require(pieces.isEmpty(), "nothing to split");
        return;
    }
    require(pieces.size() == count, "as many pieces as asked for");
    require(joined(pieces) == secret, "the pieces contain the secret");

    std::rotate(pieces.begin(), pieces.begin() + variation % count, pieces.end());
    require(SecretkeySplit::recoverSecretKey(pieces) == secret, "the secret comes back");

    QStringList others = pieces;
    others.removeLast();
    require(SecretkeySplit::recoverSecretKey(others).isEmpty(), "not without a piece");
    others += pieces.first();
    require(SecretkeySplit::recoverSecretKey(others).isEmpty(), "not with a piece twice");
    others.last() = pieces.last();
    QCharRef digit = others.last()[others.last().size() - 1 - variation % (2 * secret.size())];
    digit = digit == QLatin1Char('0') ? QLatin1Char('1') : QLatin1Char('0');
    require(SecretkeySplit::recoverSecretKey(others).isEmpty(), "not with a changed piece");

    others.last() = pieces.last() + QLatin1Char(' ');
    require(SecretkeySplit::recoverSecretKey(others).isEmpty(), "not with a blank");
    others.last() = pieces.last().toUpper();
    require(SecretkeySplit::recoverSecretKey(others).isEmpty() || others == pieces,
            "not with upper-case digits");
}

void recoverAnything(const QByteArray &text)
{
    const QStringList pieces =
        QString::fromUtf8(text.constData(), text.size()).split(QLatin1Char('\n'));
    const QByteArray secret = SecretkeySplit::recoverSecretKey(pieces);
    if (!secret.isEmpty())
        require(joined(pieces) == secret, "the pieces contain the secret");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    if (size < 2)
        return 0;
    const QByteArray rest(reinterpret_cast<const char *>(bytes + 2), int(size - 2));
    if (bytes[0] == 0)
        recoverAnything(rest);
    else
        splitAndRecover(rest, bytes[0] % 12, bytes[1]);
    return 0;
}
