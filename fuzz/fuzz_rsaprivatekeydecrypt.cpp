// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// RsaCrypt::rsaPrivateKeyDecrypt() with any key text. OpenSSL's EVP interface must read the same
// key and decrypt the data to the same text.

#include "judge.h"

#include <syncstatus/rsacrypt.h>

#include <openssl/err.h>

using logEncryption::RsaCrypt;

namespace {

/// Whether \a pem contains the mark of a key with a passphrase.
bool isRefused(const QByteArray &pem)
{
    return pem.contains("ENCRYPTED");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    answerNoQuestions();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const DataAndKey input(bytes, size);
    const QByteArray text = RsaCrypt::rsaPrivateKeyDecrypt(input.data, input.pem);
    require(ERR_peek_error() == 0, "the error queue is empty");

    const PrivateKey key = privateKeyOf(input.pem);
    const int kind = key ? EVP_PKEY_base_id(key.get()) : EVP_PKEY_NONE;
    if (kind == EVP_PKEY_RSA)
        require(text == decrypted(key.get(), input.data) ||
                    (text.isEmpty() && isRefused(input.pem)),
                "the same text");
    else if (kind != EVP_PKEY_RSA_PSS) // OpenSSL decides about those
        require(text.isEmpty(), "nothing without a key");
    return 0;
}
