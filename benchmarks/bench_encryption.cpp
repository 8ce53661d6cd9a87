// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include <custompluginmanager/secretkeysplit.h>
#include <syncstatus/rsacrypt.h>

#include <QFile>

#include <benchmark/benchmark.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <algorithm>

using logEncryption::RsaCrypt;

namespace {

/// The public key in the library.
const QByteArray &publicKey()
{
    static const QByteArray pem = [] {
        QFile file(QStringLiteral(BUILD_FOLDER "/logkey/public.pem"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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
    if (RsaCrypt::rsaPublicKeyEncrypt(data, publicKey()).isEmpty())
        state.SkipWithError("the key cannot be read");
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
    const QByteArray text(int(state.range(0)), 'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(RsaCrypt::logEncryptToBase64(text));
}

void rebuildKey(benchmark::State &state)
{
    const QStringList pieces = SecretkeySplit::splitSecretKey(publicKey(), 3);
    for (auto _ : state)
        benchmark::DoNotOptimize(SecretkeySplit::recoverSecretKey(pieces));
}

BENCHMARK(encryptLibrary)->Name("encrypt/library")->Arg(100)->Arg(1000)->Arg(100'000);
BENCHMARK(encryptPlain)->Name("encrypt/plain")->Arg(100)->Arg(1000)->Arg(100'000);
BENCHMARK(logText)->Name("logText/library")->Arg(100);
BENCHMARK(rebuildKey)->Name("logText/joining the key")->Arg(100);
BENCHMARK(encryptLibrary)->Name("logText/rsaPublicKeyEncrypt")->Arg(100);

} // namespace
