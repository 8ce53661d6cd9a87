// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// RsaCrypt::rsaPublicKeyEncrypt() with any key text, and with a good key. With that, OpenSSL's EVP
// interface must decrypt the result to the data.

#include "judge.h"

#include <syncstatus/rsacrypt.h>

#include <openssl/err.h>
#include <openssl/rsa.h>

using logEncryption::RsaCrypt;

namespace {

/// Whether OpenSSL's EVP interface encrypts a block with \a key. An RSA key in a file can be too
/// short or too long, or have an exponent that OpenSSL refuses.
bool encrypts(EVP_PKEY *key)
{
    if (EVP_PKEY_base_id(key) != EVP_PKEY_RSA)
        return false;
    EVP_PKEY_CTX *const context = EVP_PKEY_CTX_new(key, nullptr);
    QByteArray block(EVP_PKEY_size(key), '\0');
    auto size = std::size_t(block.size());
    const bool done = context && EVP_PKEY_encrypt_init(context) > 0 &&
                      EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) > 0 &&
                      EVP_PKEY_encrypt(context, reinterpret_cast<uchar *>(block.data()), &size,
                                       reinterpret_cast<const uchar *>("x"), 1) > 0;
    EVP_PKEY_CTX_free(context);
    ERR_clear_error();
    return done;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    answerNoQuestions();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static const PrivateKey own = keyFromFile(OWN_KEY);
    static const QByteArray ownPem = publicPem(own.get());
    const DataAndKey input(bytes, size);

    const QByteArray withAny = RsaCrypt::rsaPublicKeyEncrypt(input.data, input.pem);
    require(ERR_peek_error() == 0, "the error queue is empty");
    const PrivateKey any = publicKeyOf(input.pem);
    if (!any) {
        require(withAny.isEmpty(), "nothing without a key");
    } else {
        require(withAny.size() % qMax(1, EVP_PKEY_size(any.get())) == 0, "whole blocks");
        require(!withAny.isEmpty() || input.data.isEmpty() || !encrypts(any.get()),
                "something with a key");
    }

    const QByteArray withOwn = RsaCrypt::rsaPublicKeyEncrypt(input.data, ownPem);
    require(ERR_peek_error() == 0, "the error queue is empty");
    const int blockSize = EVP_PKEY_size(own.get());
    const int blocks = (input.data.size() + blockSize - 12) / (blockSize - 11);
    require(withOwn.size() == blocks * blockSize, "one block for each started run");
    require(decrypted(own.get(), withOwn) == input.data, "the data comes back");
    return 0;
}
