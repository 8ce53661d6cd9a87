// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// RsaCrypt::rsaPublicKeyEncrypt() with any key text, and with a good key: then OpenSSL's EVP
// interface must decrypt the result to the data.

#include "judge.h"

#include <syncstatus/rsacrypt.h>

#include <openssl/err.h>

using logEncryption::RsaCrypt;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static const PrivateKey own = keyFromFile(OWN_KEY);
    static const QByteArray ownPem = publicPem(own.get());
    const DataAndKey input(bytes, size);

    const QByteArray withAny = RsaCrypt::rsaPublicKeyEncrypt(input.data, input.pem);
    require(ERR_peek_error() == 0, "the error queue is empty");
    if (const PrivateKey any = publicKeyOf(input.pem))
        require(withAny.size() % qMax(1, EVP_PKEY_size(any.get())) == 0, "whole blocks");
    else
        require(withAny.isEmpty(), "nothing without a key");

    const QByteArray withOwn = RsaCrypt::rsaPublicKeyEncrypt(input.data, ownPem);
    require(ERR_peek_error() == 0, "the error queue is empty");
    const int blockSize = EVP_PKEY_size(own.get());
    const int blocks = (input.data.size() + blockSize - 12) / (blockSize - 11);
    require(withOwn.size() == blocks * blockSize, "one block for each started run");
    require(decrypted(own.get(), withOwn) == input.data, "the data comes back");
    return 0;
}
