// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef BLOCKDECRYPTOR_H
#define BLOCKDECRYPTOR_H

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

/// Decrypts single RSA blocks with PKCS#1 v1.5 padding.
///
/// Reports a block that does not decrypt. From 3.2 on, OpenSSL gives random bytes instead
/// ("implicit rejection"), against attackers who measure a server. This class switches that off,
/// because a reader of logs has to know. The constructor tests with a bad block whether that works.
///
/// The padding has no checksum. A block that is damaged, or encrypted for another key, can look
/// right by chance and give random bytes. For keys of 2048 to 3072 bits that is one block in 44,000
/// to 110,000 (RFC 8017, section 7.2.2).
class BlockDecryptor
{
public:
    /// Keeps a reference to \a key, an RSA private key. Throws std::runtime_error if OpenSSL cannot
    /// decrypt with it.
    explicit BlockDecryptor(EVP_PKEY *key);

    /// The size of a block in bytes, which is that of the key's modulus.
    std::size_t blockSize() const { return m_plain.size(); }

    /// The plain text of one block of blockSize() bytes, valid until the next call. It is at least
    /// 11 bytes shorter. No value if the block is damaged or was encrypted for another key.
    std::optional<std::string_view> decrypt(const std::vector<unsigned char> &block);

    /// False if OpenSSL gives random bytes for bad blocks nevertheless.
    bool knowsDamage() const { return m_knowsDamage; }

private:
    struct Free
    {
        void operator()(EVP_PKEY_CTX *context) const { EVP_PKEY_CTX_free(context); }
    };

    std::unique_ptr<EVP_PKEY_CTX, Free> m_context;
    std::vector<unsigned char> m_plain;
    bool m_knowsDamage = true;
};

#endif
