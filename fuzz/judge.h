// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef JUDGE_H
#define JUDGE_H

#include "target.h"

#include <QByteArray>

#include <privatekey.h>

#include <cstddef>
#include <cstdint>
#include <vector>

/// From now on OpenSSL gets no passphrase when it asks for one.
void answerNoQuestions();

/// The input of a target that takes data and a key: one byte that says how the key is given, two
/// bytes for its length (the low one first), the key, and the data.
///
/// The key is text as it is when the first byte is 0; otherwise it is DER, which is given the
/// armour of one kind of key, so that the fuzzer need not find its way through base64.
struct DataAndKey
{
    DataAndKey(const std::uint8_t *input, std::size_t size);

    QByteArray data;
    QByteArray pem;
};

/// The private key in a file that the build has made.
PrivateKey keyFromFile(const char *path);
/// Its public half as PEM.
QByteArray publicPem(EVP_PKEY *key);

/// The keys in \a pem as OpenSSL's EVP interface reads them, none for what is encrypted; null
/// when there is none.
PrivateKey publicKeyOf(const QByteArray &pem);
PrivateKey privateKeyOf(const QByteArray &pem);

/// The plain text of all blocks of \a data that decrypt, through the EVP interface.
QByteArray decrypted(EVP_PKEY *key, const QByteArray &data);
/// What the holder of the private key put into \a block, through the EVP interface.
QByteArray recovered(EVP_PKEY *key, const QByteArray &block);

#endif
