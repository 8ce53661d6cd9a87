// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// This unit is written to OpenSSL 1.1's functions on RSA objects, which 3 keeps but deprecates.
// Their successors (EVP) are many more functions for a host to bring, and make other objects. This
// asks the headers, for this unit alone, for the API of 1.1 without the warnings.
#define OPENSSL_API_COMPAT 0x10100000L

#include "rsacrypt.h"

#include "logkeypieces.h"
#include "protectedpem.h"

#include <custompluginmanager/secretkeysplit.h>

#include <QString>
#include <QStringList>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <utility>

// No function of OpenSSL may be used here but by calling it. A pointer to one (a deleter of
// std::unique_ptr, an argument, a table) would be a relocation that the dynamic loader resolves
// when it loads the library, and a host without libcrypto could not load it any more.

namespace logEncryption {

namespace {

// Built when the library is loaded and copied onto the heap, unlike QByteArrayLiteral, whose bytes
// lie in the library: the marker alone is a result of logEncryptToBase64(), which the caller may
// keep for longer than the library.
// clazy:excludeall=non-pod-global-static
const QByteArray publicKeyHeaderSymbolRSA("BEGIN RSA PUBLIC KEY");
const QByteArray publicKeyHeaderSymbol("BEGIN PUBLIC KEY");
const QByteArray logSign("LicenseLogEncryptSign");
const QByteArray logEncryptPublicPieceOne(logKeyPieces::one);
const QByteArray logEncryptPublicPieceTwo(logKeyPieces::two);
const QByteArray logEncryptPublicPieceThree(logKeyPieces::three);
// Where the joined key would be kept. It is not kept: in memory, too, the key is whole only while a
// call needs it.
[[maybe_unused]] const QByteArray realKey;

// What PKCS#1 v1.5 padding takes of a block (RFC 8017, section 7.2.1).
constexpr int paddingSize = 11;
// What a QByteArray of Qt 5 holds, less its header and final NUL.
constexpr qint64 largestSize = std::numeric_limits<int>::max() - 32;

struct BioDeleter
{
    void operator()(BIO *bio) const { BIO_free_all(bio); }
};

struct RsaDeleter
{
    void operator()(RSA *rsa) const { RSA_free(rsa); }
};

// A key that was read, and what it was read from. The BIO is freed first.
struct Key
{
    std::unique_ptr<RSA, RsaDeleter> rsa;
    std::unique_ptr<BIO, BioDeleter> bio;

    explicit operator bool() const { return bool(rsa); }
    RSA *get() const { return rsa.get(); }
};

// Made first in every operation, so that it works last, after all else is freed.
class ErrorQueueCleaner
{
public:
    ErrorQueueCleaner() = default;
    ~ErrorQueueCleaner() { ERR_clear_error(); }
    Q_DISABLE_COPY(ErrorQueueCleaner)
};

enum class KeyUse { Encryption, PrivateDecryption, PublicDecryption };

Key readKey(const QByteArray &pem, KeyUse use)
{
    const bool isPkcs1 = pem.contains(publicKeyHeaderSymbolRSA); // if it is a public key
    const QByteArray name = use == KeyUse::PrivateDecryption ? QByteArray("BEGIN ")
                            : isPkcs1                        ? publicKeyHeaderSymbolRSA
                                                             : publicKeyHeaderSymbol;
    std::unique_ptr<BIO, BioDeleter> bio(
        BIO_new_mem_buf(pem.constData(), sizeWithoutQuestions(pem, name)));
    if (!bio)
        return {};

    RSA *key = RSA_new();
    const RSA *read = nullptr;
    if (use == KeyUse::PrivateDecryption)
        read = PEM_read_bio_RSAPrivateKey(bio.get(), &key, nullptr, nullptr);
    else if (isPkcs1)
        read = PEM_read_bio_RSAPublicKey(bio.get(), &key, nullptr, nullptr);
    // Deliberately without the test for this marker in the public-key decryption, unlike in the
    // encryption: OpenSSL judges any other text.
    else if (use == KeyUse::PublicDecryption || pem.contains(publicKeyHeaderSymbol))
        read = PEM_read_bio_RSA_PUBKEY(bio.get(), &key, nullptr, nullptr);
    // A failing reader has either left the object alone or (RSAPublicKey on bad DER) freed it and
    // set `key` to null, in OpenSSL 1.1 and 3 alike. So `key` knows what is left to free, as long
    // as the result does not replace it.
    if (!read) {
        bio.reset();
        RSA_free(key);
        return {};
    }
    return {std::unique_ptr<RSA, RsaDeleter>(key), std::move(bio)};
}

// The buffer that each block's output passes through, cleared also when memory runs out.
class Scratch
{
public:
    explicit Scratch(int size) : m_bytes(size, '\0') {}
    ~Scratch() { clear(); }
    Q_DISABLE_COPY(Scratch)

    char *data() { return m_bytes.data(); }
    void clear() { m_bytes.fill('\0'); }

private:
    QByteArray m_bytes;
};

// Passes the input on in blocks of blockLimit bytes (the last may be shorter) to
// operation(length, from, to), which returns how many bytes it has written, at most keySize.
template <typename Operation>
QByteArray processBlocks(const QByteArray &input, int blockLimit, int keySize, Operation operation)
{
    QByteArray result;
    Scratch scratch(keySize);
    auto *const to = reinterpret_cast<uchar *>(scratch.data());
    const auto *from = reinterpret_cast<const uchar *>(input.constData());
    int rest = input.size();
    while (rest > 0) {
        const int length = std::min(rest, blockLimit);
        const int written = operation(length, from, to);
        from += length;
        rest -= length;
        // Deliberately no reason to stop: what the other blocks carry is still of use.
        if (written < 0)
            continue;
        result.append(scratch.data(), written);
        scratch.clear();
    }
    return result;
}

} // namespace

// Only memory that runs out, or a host's joining of the pieces, can throw here. Callers are told of
// no failure by an exception.

QByteArray RsaCrypt::rsaPublicKeyEncrypt(const QByteArray &data, const QByteArray &publicKeyPem)
try {
    const ErrorQueueCleaner cleaner;
    const Key key = readKey(publicKeyPem, KeyUse::Encryption);
    if (!key)
        return {};

    const int keySize = RSA_size(key.get());
    const int blockLimit = keySize - paddingSize;
    // A modulus this short is no key, but a PEM file can hold one.
    if (blockLimit < 1)
        return {};
    const qint64 blocks = (qint64(data.size()) + blockLimit - 1) / blockLimit;
    if (blocks * keySize > largestSize)
        return {};
    return processBlocks(data, blockLimit, keySize, [&](int length, const uchar *from, uchar *to) {
        return RSA_public_encrypt(length, from, to, key.get(), RSA_PKCS1_PADDING);
    });
} catch (const std::exception &) {
    return {};
}

QByteArray RsaCrypt::rsaPrivateKeyDecrypt(const QByteArray &data, const QByteArray &privateKeyPem)
try {
    const ErrorQueueCleaner cleaner;
    const Key key = readKey(privateKeyPem, KeyUse::PrivateDecryption);
    if (!key)
        return {};

    const int keySize = RSA_size(key.get());
    if (keySize < 1)
        return {};
    return processBlocks(data, keySize, keySize, [&](int length, const uchar *from, uchar *to) {
        return RSA_private_decrypt(length, from, to, key.get(), RSA_PKCS1_PADDING);
    });
} catch (const std::exception &) {
    return {};
}

QByteArray RsaCrypt::rsaPublicKeyDecrypt(const QByteArray &data, const QByteArray &publicKeyPem)
try {
    const ErrorQueueCleaner cleaner;
    const Key key = readKey(publicKeyPem, KeyUse::PublicDecryption);
    if (!key)
        return {};

    // Deliberately not in blocks, unlike the private-key decryption.
    QByteArray output(RSA_size(key.get()), '\0');
    const int written =
        RSA_public_decrypt(data.size(), reinterpret_cast<const uchar *>(data.constData()),
                           reinterpret_cast<uchar *>(output.data()), key.get(), RSA_PKCS1_PADDING);
    return written >= 0 ? output.left(written) : QByteArray();
} catch (const std::exception &) {
    return {};
}

QByteArray RsaCrypt::logEncryptToBase64(const QByteArray &text)
try {
    const ErrorQueueCleaner cleaner;
    const QStringList pieces = {QString::fromUtf8(logEncryptPublicPieceOne),
                                QString::fromUtf8(logEncryptPublicPieceTwo),
                                QString::fromUtf8(logEncryptPublicPieceThree)};
    const QByteArray ciphertext =
        rsaPublicKeyEncrypt(text, SecretkeySplit::recoverSecretKey(pieces));
    // QByteArray::toBase64() does not look whether its result's length fits.
    if (logSign.size() + (qint64(ciphertext.size()) + 2) / 3 * 4 > largestSize)
        return logSign;
    return logSign + ciphertext.toBase64();
} catch (...) { // whatever the host's joining throws
    if (!std::current_exception())
        throw; // no exception, but the thread's end, which must go on
    return logSign;
}

} // namespace logEncryption
