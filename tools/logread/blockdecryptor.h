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
/// A block that does not decrypt is reported as such: OpenSSL's implicit rejection, which from 3.2
/// on answers a bad block with random bytes to hide the fact from an attacker who measures a
/// server, is switched off. Such an attacker has no place here, and a reader of logs must know.
/// (Nobody who can write to the log should be shown at once what could not be decrypted.)
///
/// The padding has no checksum. Of blocks that are damaged or made for another key, about one in
/// 100,000 looks right by chance and gives random bytes.
class BlockDecryptor
{
public:
    /// Takes a reference of its own to \a key, an RSA private key. Throws std::runtime_error when
    /// OpenSSL cannot decrypt with it.
    explicit BlockDecryptor(EVP_PKEY *key);

    /// The size of every block in bytes: the key's modulus.
    std::size_t blockSize() const { return m_plain.size(); }

    /// The plain text of one block of blockSize() bytes, at most 11 bytes shorter, good until the
    /// next call; nothing when the block is damaged or was made for another key.
    std::optional<std::string_view> decrypt(const std::vector<unsigned char> &block);

private:
    struct Free
    {
        void operator()(EVP_PKEY_CTX *context) const { EVP_PKEY_CTX_free(context); }
    };

    std::unique_ptr<EVP_PKEY_CTX, Free> m_context;
    std::vector<unsigned char> m_plain;
};

#endif
