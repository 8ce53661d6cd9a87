// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include <custompluginmanager/secretkeysplit.h>
#include <syncstatus/rsacrypt.h>

#include <benchmark/benchmark.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <algorithm>

using logEncryption::RsaCrypt;

namespace {

/// Of as many bits as a log key has unless somebody asks for more.
constexpr int keyBits = 3072;

const QByteArray &publicKey()
{
    static const QByteArray pem = [] {
        RSA *const key = RSA_new();
        BIGNUM *const exponent = BN_new();
        BN_set_word(exponent, RSA_F4);
        RSA_generate_key_ex(key, keyBits, exponent, nullptr);
        BIO *const bio = BIO_new(BIO_s_mem());
        PEM_write_bio_RSA_PUBKEY(bio, key);
        char *text = nullptr;
        const long size = BIO_get_mem_data(bio, &text);
        QByteArray result(text, int(size));
        BIO_free_all(bio);
        BN_free(exponent);
        RSA_free(key);
        return result;
    }();
    return pem;
}

RSA *readKey()
{
    BIO *const bio = BIO_new_mem_buf(publicKey().constData(), publicKey().size());
    RSA *const key = PEM_read_bio_RSA_PUBKEY(bio, nullptr, nullptr, nullptr);
    BIO_free_all(bio);
    return key;
}

void encryptLibrary(benchmark::State &state)
{
    const QByteArray data(int(state.range(0)), 'x');
    publicKey(); // makes it
    for (auto _ : state)
        benchmark::DoNotOptimize(RsaCrypt::rsaPublicKeyEncrypt(data, publicKey()));
}

void encryptPlain(benchmark::State &state)
{
    const QByteArray data(int(state.range(0)), 'x');
    for (auto _ : state) {
        RSA *const key = readKey();
        QByteArray block(RSA_size(key), '\0');
        const int limit = RSA_size(key) - 11;
        for (int done = 0; done < data.size(); done += limit) {
            RSA_public_encrypt(std::min(limit, data.size() - done),
                               reinterpret_cast<const uchar *>(data.constData()) + done,
                               reinterpret_cast<uchar *>(block.data()), key, RSA_PKCS1_PADDING);
        }
        RSA_free(key);
        ERR_clear_error();
    }
}

void logText(benchmark::State &state)
{
    const QByteArray text(100, 'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(RsaCrypt::logEncryptToBase64(text));
}

void rebuildKey(benchmark::State &state)
{
    const QStringList pieces = SecretkeySplit::splitSecretKey(publicKey(), 3);
    for (auto _ : state)
        benchmark::DoNotOptimize(SecretkeySplit::recoverSecretKey(pieces));
}

void parseKey(benchmark::State &state)
{
    for (auto _ : state) {
        RSA *const key = readKey();
        benchmark::DoNotOptimize(key);
        RSA_free(key);
    }
}

BENCHMARK(encryptLibrary)->Name("encrypt/library")->Arg(100)->Arg(1000)->Arg(100'000);
BENCHMARK(encryptPlain)->Name("encrypt/plain")->Arg(100)->Arg(1000)->Arg(100'000);
BENCHMARK(logText)->Name("logText/library");
BENCHMARK(rebuildKey)->Name("logText/rebuildKey");
BENCHMARK(parseKey)->Name("logText/parseKey");

} // namespace
