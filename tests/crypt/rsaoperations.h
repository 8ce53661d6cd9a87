// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef RSAOPERATIONS_H
#define RSAOPERATIONS_H

#include <syncstatus/rsacrypt.h>

#include <QByteArray>

#include <openssl/err.h>

using RsaOperation = QByteArray (*)(const QByteArray &, const QByteArray &);

/// Calls \a operation while OpenSSL's queue holds an error of other code, and checks that the queue
/// is empty afterwards.
inline QByteArray withErrorQueued(RsaOperation operation, const QByteArray &data,
                                  const QByteArray &key)
{
    ERR_put_error(ERR_LIB_USER, 0, 1, __FILE__, __LINE__);
    QByteArray result = operation(data, key);
    if (ERR_peek_error() != 0)
        qFatal("OpenSSL's error queue is not empty");
    return result;
}

inline QByteArray encrypt(const QByteArray &text, const QByteArray &publicKey)
{
    return withErrorQueued(logEncryption::RsaCrypt::rsaPublicKeyEncrypt, text, publicKey);
}

inline QByteArray decrypt(const QByteArray &ciphertext, const QByteArray &privateKey)
{
    return withErrorQueued(logEncryption::RsaCrypt::rsaPrivateKeyDecrypt, ciphertext, privateKey);
}

inline QByteArray recover(const QByteArray &block, const QByteArray &publicKey)
{
    return withErrorQueued(logEncryption::RsaCrypt::rsaPublicKeyDecrypt, block, publicKey);
}

/// Bytes that differ from one block to the next.
inline QByteArray textOf(int size)
{
    QByteArray text;
    for (int i = 0; i < size; ++i)
        text += char((i * 31 + i / 251) & 0xff);
    return text;
}

constexpr int paddingSize = 11; // of PKCS#1 v1.5

#endif
