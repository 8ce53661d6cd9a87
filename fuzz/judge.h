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

/// Makes sure that OpenSSL gets no passphrase if it asks for one.
void answerNoQuestions();

/// The input of a target with data and a key. It has one byte for the form of the key, two bytes
/// for its length (the low one first), the key, and the data.
///
/// If the first byte is 0, the key is text. Otherwise it is DER and gets the PEM armour of one kind
/// of key, so that the fuzzer does not have to produce base64.
struct DataAndKey
{
    DataAndKey(const std::uint8_t *input, std::size_t size);

    QByteArray data;
    QByteArray pem;
};

/// The private key from a file of the build.
PrivateKey keyFromFile(const char *path);
/// Its public half as PEM.
QByteArray publicPem(EVP_PKEY *key);

/// The first key in \a pem as OpenSSL's EVP interface reads it, or null if there is none. A key
/// with a passphrase counts as none.
PrivateKey publicKeyOf(const QByteArray &pem);
PrivateKey privateKeyOf(const QByteArray &pem);

/// The plain text of all blocks of \a data that decrypt, through the EVP interface.
QByteArray decrypted(EVP_PKEY *key, const QByteArray &data);
/// The bytes that the private-key operation put into \a block, through the EVP interface.
QByteArray recovered(EVP_PKEY *key, const QByteArray &block);

#endif
