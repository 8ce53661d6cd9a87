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
/// Whether that has worked is tried out with a bad block, see knowsDamage(). (Nobody who can write
/// to the log should be shown at once what could not be decrypted.)
///
/// The padding has no checksum. A block that is damaged or made for another key may look right by
/// chance and give random bytes: for keys of 2048 to 3072 bits one in 44,000 to 110,000, depending
/// on their length and the first byte of the modulus (a zero byte and a 2 at the beginning, then at
/// least eight bytes before the next zero byte; RFC 8017, section 7.2.2).
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

    /// False when OpenSSL gives random bytes for blocks that do not decrypt, all the same.
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
