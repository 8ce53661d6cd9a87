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
/// What pieces give away: each tells the secret's length, the number of pieces and its own number.
/// When the masks are random, any N - 1 pieces tell nothing else, whatever the means of whoever has
/// them. All N together are the secret: pieces that lie in one file, or one program, hide it from a
/// search for its text and from nobody who knows this page.
///
/// The digest is there to refuse what does not belong together. It is no signature: who can change
/// the pieces and knows the secret can make them join to another.
///
/// No operation keeps anything, logs anything or blocks on anything; all may be called from any
/// thread. They are meant for keys of some kilobytes and hold everything in memory, some six bytes
/// for each byte of the secret and each piece.
class CUSTOMPLUGINMANAGER_EXPORT SecretkeySplit
{
public:
    /// Where the masks come from that hide the secret.
    enum class Masks {
        /// From the system's random generator (QRandomGenerator::system()): no two splits are the
        /// same.
        Random,
        /// From the secret itself: HMAC-SHA-256, keyed with the secret, over "N-i-b" with b
        /// counting blocks of 32 bytes from 0. The same secret and number of pieces give the same
        /// pieces, so that a build can be repeated bit for bit.
        ///
        /// This costs the promise above. Any single piece then lets its holder test a guess of the
        /// secret, and shows that two splits are of one secret. Use it for what cannot be guessed
        /// and what need not be denied, like a public key that is to be kept out of plain sight;
        /// never for a password.
        FromSecret
    };

    SecretkeySplit() = delete;

    /// Splits \a secret, any bytes, into \a count pieces, which come in the order of their numbers.
    /// Empty when the secret is empty or \a count is less than 2.
    static QStringList splitSecretKey(const QByteArray &secret, int count,
                                      Masks masks = Masks::Random);

    /// Joins \a pieces, in any order, to the secret. Empty when they are not all the pieces of one
    /// split and nothing else: a piece is missing, doubled, from another split, cut off, changed,
    /// or no piece at all (surrounding blanks and upper-case digits included).
    static QByteArray recoverSecretKey(const QStringList &pieces);
};

#endif
