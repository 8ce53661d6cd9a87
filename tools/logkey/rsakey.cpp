// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "rsakey.h"

#include <QCryptographicHash>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

namespace {

struct BioDeleter
{
    void operator()(BIO *bio) const { BIO_free_all(bio); }
};

struct ContextDeleter
{
    void operator()(EVP_PKEY_CTX *context) const { EVP_PKEY_CTX_free(context); }
};

struct MemoryDeleter
{
    void operator()(void *memory) const { OPENSSL_free(memory); }
};

using Bio = std::unique_ptr<BIO, BioDeleter>;
using Text = std::unique_ptr<char, MemoryDeleter>;
using Bytes = std::unique_ptr<uchar, MemoryDeleter>;

// \a failure with OpenSSL's reason, if it gives one.
QString opensslError(const QString &failure)
{
    const char *reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    return reason ? failure + QLatin1String(": ") + QString::fromUtf8(reason) : failure;
}

} // namespace

RsaKey readPublicKey(const QByteArray &pem, QString *error)
{
    const Bio bio(BIO_new_mem_buf(pem.constData(), pem.size()));
    char *nameText = nullptr;
    char *headerText = nullptr;
    uchar *bytes = nullptr;
    long size = 0;
    if (!bio || PEM_read_bio(bio.get(), &nameText, &headerText, &bytes, &size) != 1) {
        *error = opensslError(QStringLiteral("not a key in PEM form"));
        return nullptr;
    }
    const Text name(nameText);
    const Text header(headerText);
    const Bytes der(bytes);

    const QByteArray form(name.get());
    const uchar *end = der.get();
    RsaKey key;
    if (form == "PUBLIC KEY") {
        key.reset(d2i_PUBKEY(nullptr, &end, size));
    } else if (form == "RSA PUBLIC KEY") {
        key.reset(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &end, size));
    } else {
        *error = QStringLiteral("not a public key but a \"%1\"").arg(QString::fromUtf8(form));
        return nullptr;
    }
    if (!key || end != der.get() + size) {
        *error = opensslError(QStringLiteral("the public key is damaged"));
        return nullptr;
    }
    if (EVP_PKEY_base_id(key.get()) != EVP_PKEY_RSA) {
        *error = QStringLiteral("not an RSA key");
        return nullptr;
    }
    return key;
}

RsaKey readLibraryKey(const QByteArray &pem, QString *error)
{
    if (pem.contains("PRIVATE KEY-----")) {
        *error = QStringLiteral("they contain a private key, which every agent would carry");
        return nullptr;
    }
    const bool isPkcs1 = pem.contains("BEGIN RSA PUBLIC KEY");
    if (!isPkcs1 && !pem.contains("BEGIN PUBLIC KEY")) {
        *error = QStringLiteral("not a public key in PEM form");
        return nullptr;
    }
    const char *const name = isPkcs1 ? PEM_STRING_RSA_PUBLIC : PEM_STRING_PUBLIC;
    const Bio bio(BIO_new_mem_buf(pem.constData(), pem.size()));
    uchar *bytes = nullptr;
    long size = 0;
    if (!bio ||
        PEM_bytes_read_bio(&bytes, &size, nullptr, name, bio.get(), nullptr, nullptr) != 1) {
        *error = opensslError(QStringLiteral("there is no whole \"%1\"").arg(QLatin1String(name)));
        return nullptr;
    }
    const Bytes der(bytes);
    const uchar *end = der.get();
    RsaKey key(isPkcs1 ? d2i_PublicKey(EVP_PKEY_RSA, nullptr, &end, size)
                       : d2i_PUBKEY(nullptr, &end, size));
    if (!key) {
        *error = opensslError(QStringLiteral("the public key is damaged"));
        return nullptr;
    }
    if (EVP_PKEY_base_id(key.get()) != EVP_PKEY_RSA) {
        *error = QStringLiteral("not an RSA key");
        return nullptr;
    }

    const std::unique_ptr<EVP_PKEY_CTX, ContextDeleter> context(
        EVP_PKEY_CTX_new(key.get(), nullptr));
    QByteArray block(EVP_PKEY_size(key.get()), '\0');
    auto blockSize = std::size_t(block.size());
    if (!context || EVP_PKEY_encrypt_init(context.get()) <= 0 ||
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) <= 0 ||
        EVP_PKEY_encrypt(context.get(), reinterpret_cast<uchar *>(block.data()), &blockSize,
                         reinterpret_cast<const uchar *>("x"), 1) <= 0) {
        *error = opensslError(QStringLiteral("nothing can be encrypted with the key"));
        return nullptr;
    }
    return key;
}

QByteArray publicKeyPem(const RsaKey &key, QString *error)
{
    const Bio bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_PUBKEY(bio.get(), key.get()) != 1) {
        *error = opensslError(QStringLiteral("OpenSSL cannot write the public key"));
        return {};
    }
    char *text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, int(size)};
}

QByteArray publicKeyFingerprint(const RsaKey &key, QString *error)
{
    uchar *bytes = nullptr;
    const int size = i2d_PUBKEY(key.get(), &bytes);
    const Bytes der(bytes);
    if (size <= 0) {
        *error = opensslError(QStringLiteral("OpenSSL cannot encode the public key"));
        return {};
    }
    return QCryptographicHash::hash({reinterpret_cast<const char *>(der.get()), size},
                                    QCryptographicHash::Sha256)
        .toHex();
}
