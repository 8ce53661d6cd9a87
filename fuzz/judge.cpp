// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "judge.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/ui.h>

#include <algorithm>
#include <iterator>

namespace {

struct FreeBio
{
    void operator()(BIO *bio) const { BIO_free(bio); }
};
struct FreeContext
{
    void operator()(EVP_PKEY_CTX *context) const { EVP_PKEY_CTX_free(context); }
};
using Bio = std::unique_ptr<BIO, FreeBio>;
using Context = std::unique_ptr<EVP_PKEY_CTX, FreeContext>;

int noPassphrase(char *, int, int, void *)
{
    return -1;
}

const uchar *bytes(const QByteArray &array)
{
    return reinterpret_cast<const uchar *>(array.constData());
}

} // namespace

void answerNoQuestions()
{
    UI_METHOD *const method = UI_create_method("asks nobody");
    require(method != nullptr, "there is memory");
    UI_method_set_opener(method, [](UI *) { return 0; });
    UI_set_default_method(method);
}

DataAndKey::DataAndKey(const std::uint8_t *input, std::size_t size)
{
    if (size < 3)
        return;
    const unsigned form = input[0];
    const auto keySize = std::min<std::size_t>(input[1] | unsigned(input[2]) << 8, size - 3);
    const QByteArray key(reinterpret_cast<const char *>(input + 3), int(keySize));
    data = QByteArray(reinterpret_cast<const char *>(input + 3 + keySize), int(size - 3 - keySize));
    if (form == 0) {
        pem = key;
        return;
    }
    static const char *const labels[] = {
        "RSA PUBLIC KEY",        "PUBLIC KEY",     "RSA PRIVATE KEY", "PRIVATE KEY",
        "ENCRYPTED PRIVATE KEY", "EC PRIVATE KEY", "CERTIFICATE"};
    const QByteArray label = labels[form % std::size(labels)];
    pem = "-----BEGIN " + label + "-----\n";
    const QByteArray base64 = key.toBase64();
    for (int i = 0; i < base64.size(); i += 64)
        pem += base64.mid(i, 64) + '\n';
    pem += "-----END " + label + "-----\n";
}

PrivateKey keyFromFile(const char *path)
{
    std::string error;
    PrivateKey key = readPrivateKey(path, &error);
    require(key != nullptr, error.c_str());
    return key;
}

QByteArray publicPem(EVP_PKEY *key)
{
    const Bio bio(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_PUBKEY(bio.get(), key) == 1, "the public key can be written");
    char *text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, int(size)};
}

PrivateKey publicKeyOf(const QByteArray &pem)
{
    const bool isPkcs1 = pem.contains("BEGIN RSA PUBLIC KEY");
    const Bio bio(BIO_new_mem_buf(pem.constData(), pem.size()));
    PrivateKey key;
    uchar *der = nullptr;
    long size = 0;
    // PEM_read_bio_PUBKEY() would also take a public key in the block of a private one.
    if (PEM_bytes_read_bio(&der, &size, nullptr,
                           isPkcs1 ? PEM_STRING_RSA_PUBLIC : PEM_STRING_PUBLIC, bio.get(),
                           noPassphrase, nullptr)) {
        const uchar *position = der;
        key.reset(isPkcs1 ? d2i_PublicKey(EVP_PKEY_RSA, nullptr, &position, size)
                          : d2i_PUBKEY(nullptr, &position, size));
        OPENSSL_free(der);
    }
    ERR_clear_error();
    return key;
}

PrivateKey privateKeyOf(const QByteArray &pem)
{
    const Bio bio(BIO_new_mem_buf(pem.constData(), pem.size()));
    PrivateKey key(PEM_read_bio_PrivateKey(bio.get(), nullptr, noPassphrase, nullptr));
    ERR_clear_error();
    return key;
}

QByteArray decrypted(EVP_PKEY *key, const QByteArray &data)
{
    QByteArray text;
    const int blockSize = EVP_PKEY_size(key);
    for (int i = 0; i < data.size(); i += blockSize) {
        const Context context(EVP_PKEY_CTX_new(key, nullptr));
        QByteArray block(blockSize, '\0');
        auto size = std::size_t(blockSize);
        if (context && EVP_PKEY_decrypt_init(context.get()) > 0 &&
            EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) > 0 &&
            EVP_PKEY_decrypt(context.get(), reinterpret_cast<uchar *>(block.data()), &size,
                             bytes(data) + i, std::size_t(qMin(blockSize, data.size() - i))) > 0)
            text += block.left(int(size));
    }
    ERR_clear_error();
    return text;
}

QByteArray recovered(EVP_PKEY *key, const QByteArray &block)
{
    QByteArray text(EVP_PKEY_size(key), '\0');
    auto size = std::size_t(text.size());
    const Context context(EVP_PKEY_CTX_new(key, nullptr));
    const bool done = context && EVP_PKEY_verify_recover_init(context.get()) > 0 &&
                      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) > 0 &&
                      EVP_PKEY_verify_recover(context.get(), reinterpret_cast<uchar *>(text.data()),
                                              &size, bytes(block), std::size_t(block.size())) > 0;
    ERR_clear_error();
    return done ? text.left(int(size)) : QByteArray();
}
