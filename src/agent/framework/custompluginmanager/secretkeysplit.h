// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SECRETKEYSPLIT_H
#define SECRETKEYSPLIT_H

#include <custompluginmanager/custompluginmanager_export.h>

#include <QByteArray>
#include <QStringList>

/// Splits a secret into pieces that only together give it back (n of n), and joins them.
///
/// A piece is one line of plain ASCII, "N-i-payload": the number of pieces, a hyphen, the piece's
/// own number counted from 1, a hyphen, and the payload, for instance "3-1-90c1…". Both numbers are
/// decimal, without sign or leading zeros. The payload is lower-case hexadecimal and holds no
/// hyphen. It is as many bytes as the secret and 32 more: the exclusive or of the payloads of all N
/// pieces is the secret's SHA-256 digest followed by the secret.
///
/// All pieces but the last are masks made from the secret: HMAC-SHA-256, keyed with the secret,
/// over "N-i-b" with b counting blocks of 32 bytes from 0. The same secret and number of pieces
/// give the same pieces, so a build can be repeated bit for bit. In return any single piece lets
/// its holder test a guess of the secret. Split only what cannot be guessed, such as a key; never a
/// password.
///
/// All pieces together are the secret. In one file or program they hide it from a search for its
/// text only. The digest refuses pieces that do not belong together; it is no signature.
///
/// No operation keeps or logs anything; all may be called from any thread. They hold everything in
/// memory, some six bytes for each byte of the secret and each piece.
class CUSTOMPLUGINMANAGER_EXPORT SecretkeySplit
{
public:
    SecretkeySplit() = delete;

    /// Splits \a secret, any bytes, into \a count pieces, which come in the order of their numbers.
    /// Empty when the secret is empty or \a count is less than 2.
    static QStringList splitSecretKey(const QByteArray &secret, int count);

    /// Joins \a pieces, in any order, to the secret. Empty when they are not all the pieces of one
    /// split and nothing else: a piece is missing, doubled, from another split, cut off, changed,
    /// or no piece at all (surrounding blanks and upper-case digits included).
    static QByteArray recoverSecretKey(const QStringList &pieces);
};

#endif
