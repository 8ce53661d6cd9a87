// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// This file uses OpenSSL 1.1's functions on RSA objects, which OpenSSL 3 keeps but deprecates. With
// the newer EVP, a host would have to provide many more functions. This asks the headers for the
// API of 1.1 without the warnings, for this file only.
#define OPENSSL_API_COMPAT 0x10100000L

#include "rsacrypt.h"

#include "logkeypieces.h"

#include <custompluginmanager/secretkeysplit.h>

#include <QString>
#include <QStringList>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <limits>

// Only call OpenSSL's functions here, never take their addresses. A pointer to one (a deleter of
// std::unique_ptr, an argument, a table) is a relocation that the dynamic loader resolves when it
// loads the library. A host without libcrypto could then not load it.

namespace logEncryption {

namespace {

// Not QByteArrayLiteral, whose bytes lie in the library: logEncryptToBase64() can return the bare
// marker, and a caller may keep it longer than the library.
// clazy:excludeall=non-pod-global-static
const QByteArray publicKeyHeaderSymbolRSA("BEGIN RSA PUBLIC KEY");
const QByteArray publicKeyHeaderSymbol("BEGIN PUBLIC KEY");
const QByteArray logSign("LicenseLogEncryptSign");
const QByteArray logEncryptPublicPieceOne(logKeyPieces::one);
const QByteArray logEncryptPublicPieceTwo(logKeyPieces::two);
const QByteArray logEncryptPublicPieceThree(logKeyPieces::three);
[[maybe_unused]] const QByteArray realKey; // unused, part of the layout

// The least size of PKCS#1 v1.5 padding in a block (RFC 8017, section 7.2.1).
constexpr int paddingSize = 11;
// The longest QByteArray of Qt 5, which needs room for its header and final NUL.
constexpr qint64 largestSize = std::numeric_limits<int>::max() - 32;

enum class KeyUse { Encryption, PrivateDecryption, PublicDecryption };

// A key read from PEM text. The destructor frees it and clears OpenSSL's error queue.
class Key
{
public:
    Key(const QByteArray &pem, KeyUse use);
    ~Key();
    Q_DISABLE_COPY(Key)

    explicit operator bool() const { return m_isRead; }
    RSA *get() const { return m_rsa; }

private:
    BIO *m_bio;
    RSA *m_rsa = nullptr;
    bool m_isRead = false;
};

Key::Key(const QByteArray &pem, KeyUse use) : m_bio(BIO_new_mem_buf(pem.constData(), pem.size()))
{
    if (!m_bio)
        return;
    m_rsa = RSA_new();
    // A reader that fails leaves the object as it is, or (RSAPublicKey on bad DER) frees it and
    // sets m_rsa to null. So the destructor frees m_rsa, never the reader's result.
    if (use == KeyUse::PrivateDecryption) {
        // For "BEGIN ENCRYPTED PRIVATE KEY", and "Proc-Type: 4,ENCRYPTED" with any blanks, OpenSSL
        // would ask for the passphrase on the agent's terminal.
        if (!pem.contains("ENCRYPTED"))
            m_isRead = PEM_read_bio_RSAPrivateKey(m_bio, &m_rsa, nullptr, nullptr);
    } else if (pem.contains(publicKeyHeaderSymbolRSA)) {
        m_isRead = PEM_read_bio_RSAPublicKey(m_bio, &m_rsa, nullptr, nullptr);
    } else if (use == KeyUse::PublicDecryption || pem.contains(publicKeyHeaderSymbol)) {
        // Deliberately, the public decryption lets OpenSSL judge a text without a marker.
        m_isRead = PEM_read_bio_RSA_PUBKEY(m_bio, &m_rsa, nullptr, nullptr);
    }
}

Key::~Key()
{
    if (m_bio) {
        BIO_free_all(m_bio);
        RSA_free(m_rsa);
    }
    ERR_clear_error();
}

// Passes the size: the overload for a QByteArray looks for a NUL, which takes longer than the rest.
QString fromUtf8(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

// Passes the input in blocks of blockLimit bytes (the last may be shorter) to
// operation(length, from, to). That returns the number of bytes it has written, at most keySize.
template <typename Operation>
QByteArray processBlocks(const QByteArray &input, int blockLimit, int keySize, Operation operation)
{
    QByteArray result;
    QByteArray scratch(keySize, '\0');
    auto *const to = reinterpret_cast<uchar *>(scratch.data());
    const auto *from = reinterpret_cast<const uchar *>(input.constData());
    int rest = input.size();
    while (rest > 0) {
        const int length = std::min(rest, blockLimit);
        const int written = operation(length, from, to);
        from += length;
        rest -= length;
        // Deliberately goes on: the text of the other blocks is still useful.
        if (written < 0)
            continue;
        result.append(scratch.constData(), written);
        scratch.fill('\0');
    }
    scratch.fill('\0');
    return result;
}

} // namespace

QByteArray RsaCrypt::rsaPublicKeyEncrypt(const QByteArray &data,
                                         const QByteArray &publicKeyPem) noexcept
{
    const Key key(publicKeyPem, KeyUse::Encryption);
    if (!key)
        return {};

    const int keySize = RSA_size(key.get());
    const int blockLimit = keySize - paddingSize;
    // Too short for any text, but a PEM file can hold such a modulus.
    if (blockLimit < 1)
        return {};
    const qint64 blocks = (qint64(data.size()) + blockLimit - 1) / blockLimit;
    if (blocks * keySize > largestSize)
        return {};
    return processBlocks(data, blockLimit, keySize, [&](int length, const uchar *from, uchar *to) {
        return RSA_public_encrypt(length, from, to, key.get(), RSA_PKCS1_PADDING);
    });
}

QByteArray RsaCrypt::rsaPrivateKeyDecrypt(const QByteArray &data,
                                          const QByteArray &privateKeyPem) noexcept
{
    const Key key(privateKeyPem, KeyUse::PrivateDecryption);
    if (!key)
        return {};

    const int keySize = RSA_size(key.get());
    if (keySize < 1)
        return {};
    return processBlocks(data, keySize, keySize, [&](int length, const uchar *from, uchar *to) {
        return RSA_private_decrypt(length, from, to, key.get(), RSA_PKCS1_PADDING);
    });
}

QByteArray RsaCrypt::rsaPublicKeyDecrypt(const QByteArray &data,
                                         const QByteArray &publicKeyPem) noexcept
{
    const Key key(publicKeyPem, KeyUse::PublicDecryption);
    if (!key)
        return {};

    // Deliberately not in blocks, unlike the private-key decryption.
    QByteArray output(RSA_size(key.get()), '\0');
    const int written =
        RSA_public_decrypt(data.size(), reinterpret_cast<const uchar *>(data.constData()),
                           reinterpret_cast<uchar *>(output.data()), key.get(), RSA_PKCS1_PADDING);
    return written >= 0 ? output.left(written) : QByteArray();
}

QByteArray RsaCrypt::logEncryptToBase64(const QByteArray &text) noexcept
{
    const QStringList pieces = {fromUtf8(logEncryptPublicPieceOne),
                                fromUtf8(logEncryptPublicPieceTwo),
                                fromUtf8(logEncryptPublicPieceThree)};
    QByteArray publicKey;
    try {
        publicKey = SecretkeySplit::recoverSecretKey(pieces);
    } catch (...) { // the host's code may throw anything; without a key nothing is encrypted
    }
    const QByteArray ciphertext = rsaPublicKeyEncrypt(text, publicKey);
    // QByteArray::toBase64() does not check that its result's length fits.
    if (logSign.size() + (qint64(ciphertext.size()) + 2) / 3 * 4 > largestSize)
        return logSign;
    return logSign + ciphertext.toBase64();
}

} // namespace logEncryption
