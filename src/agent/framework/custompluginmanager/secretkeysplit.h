// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SECRETKEYSPLIT_H
#define SECRETKEYSPLIT_H

#include <custompluginmanager/custompluginmanager_export.h>

#include <QByteArray>
#include <QStringList>

/// Splits a secret into pieces, and joins them. Only all pieces together give the secret.
///
/// \code
/// const QStringList pieces = SecretkeySplit::splitSecretKey("a secret", 3);
/// const QByteArray secret = SecretkeySplit::recoverSecretKey(pieces);
/// \endcode
///
/// - Threads: any, several at once.
/// - Blocking: computes only.
/// - Failure: an empty result.
/// - Logging: none.
///
/// A piece is one line of ASCII, "N-i-payload", for instance "3-1-90c1…". N is the number of
/// pieces, i the piece's number from 1. The payload is lower-case hexadecimal. The exclusive or of
/// all payloads is the secret's SHA-256 digest, followed by the secret.
///
/// All payloads but the last are HMAC-SHA-256, keyed with the secret, over "N-i-b". The number b
/// counts blocks of 32 bytes from 0. So the same secret gives the same pieces, and a build can be
/// repeated bit for bit. In return, one piece is enough to test a guess of the secret: split keys,
/// never passwords.
///
/// Pieces in one file hide the secret from a search for its text only. The digest detects pieces
/// that do not belong together; it is no signature.
class CUSTOMPLUGINMANAGER_EXPORT SecretkeySplit
{
public:
    SecretkeySplit() = delete;

    /// Splits \a secret, any bytes, into \a count pieces, in the order of their numbers. Empty if
    /// the secret is empty or \a count is less than 2.
    static QStringList splitSecretKey(const QByteArray &secret, int count);

    /// Joins \a pieces, in any order. Empty if a piece is missing, doubled, damaged or from another
    /// split. A piece with white space around it, or with upper-case digits, is damaged.
    static QByteArray recoverSecretKey(const QStringList &pieces);
};

#endif
