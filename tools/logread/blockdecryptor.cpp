// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "blockdecryptor.h"

#include <openssl/err.h>
#include <openssl/rsa.h>

#include <stdexcept>

BlockDecryptor::BlockDecryptor(EVP_PKEY *key)
    : m_context(EVP_PKEY_CTX_new(key, nullptr)),
      m_plain(static_cast<std::size_t>(EVP_PKEY_size(key)))
{
    const bool ready = m_context && EVP_PKEY_decrypt_init(m_context.get()) > 0 &&
                       EVP_PKEY_CTX_set_rsa_padding(m_context.get(), RSA_PKCS1_PADDING) > 0;
    // By name, because an OpenSSL without implicit rejection has no constant for it and refuses.
    if (ready)
        EVP_PKEY_CTX_ctrl_str(m_context.get(), "rsa_pkcs1_implicit_rejection", "0");
    ERR_clear_error();
    if (!ready)
        throw std::runtime_error("OpenSSL cannot decrypt with this key");

    // The number 1. Every key decrypts it to 1, which is never a padded text.
    std::vector<unsigned char> bad(blockSize() - 1);
    bad.push_back(1);
    m_knowsDamage = !decrypt(bad);
}

std::optional<std::string_view> BlockDecryptor::decrypt(const std::vector<unsigned char> &block)
{
    std::size_t size = m_plain.size();
    if (EVP_PKEY_decrypt(m_context.get(), m_plain.data(), &size, block.data(), block.size()) <= 0) {
        ERR_clear_error();
        return std::nullopt;
    }
    return std::string_view(reinterpret_cast<const char *>(m_plain.data()), size);
}
