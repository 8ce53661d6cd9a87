// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// RsaCrypt::rsaPublicKeyDecrypt() with any key text. OpenSSL's EVP interface must read the same key
// and recover the same bytes from the data.

#include "judge.h"

#include <syncstatus/rsacrypt.h>

#include <openssl/err.h>

using logEncryption::RsaCrypt;

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    answerNoQuestions();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const DataAndKey input(bytes, size);
    const QByteArray text = RsaCrypt::rsaPublicKeyDecrypt(input.data, input.pem);
    require(ERR_peek_error() == 0, "the error queue is empty");

    const PrivateKey key = publicKeyOf(input.pem);
    const int kind = key ? EVP_PKEY_base_id(key.get()) : EVP_PKEY_NONE;
    if (kind == EVP_PKEY_RSA)
        require(text == recovered(key.get(), input.data), "the same text");
    else if (kind != EVP_PKEY_RSA_PSS) // OpenSSL decides about those
        require(text.isEmpty(), "nothing without a key");
    return 0;
}
