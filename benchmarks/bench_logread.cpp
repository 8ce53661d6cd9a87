// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A log without encrypted texts: how fast it is passed through.

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include "inmemory.h"
#include "spawn.h"

#include <QByteArray>
#include <QFile>

#include <benchmark/benchmark.h>
#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

namespace {

constexpr int logSize = 512'000'000;

void writeLogAndKey()
{
    const QByteArray line("Nov 21 10:15:04 host syncstatus-agent[812]: "
                          "org.corvel.license.agent: codestack:  getNetworkState: true\n");
    QFile log(inMemory("log"));
    if (log.open(QIODevice::WriteOnly)) {
        const QByteArray lines = line.repeated(10'000);
        while (log.size() < logSize)
            log.write(lines);
    }
    RSA *const key = RSA_new();
    BIGNUM *const exponent = BN_new();
    BN_set_word(exponent, RSA_F4);
    RSA_generate_key_ex(key, 2048, exponent, nullptr);
    BIO *const file = BIO_new_file(QFile::encodeName(inMemory("key")).constData(), "w");
    PEM_write_bio_RSAPrivateKey(file, key, nullptr, nullptr, 0, nullptr, nullptr);
    BIO_free_all(file);
    BN_free(exponent);
    RSA_free(key);
}

void scan(benchmark::State &state, const std::vector<const char *> &command, int expected)
{
    static const bool written = (writeLogAndKey(), true);
    benchmark::DoNotOptimize(written);
    const QByteArray log = QFile::encodeName(inMemory("log"));
    const QByteArray key = QFile::encodeName(inMemory("key"));
    std::vector<const char *> arguments = command;
    for (const char *&argument : arguments) {
        if (argument && argument == std::string("KEY"))
            argument = key.constData();
    }
    arguments.insert(arguments.end(), {log.constData(), nullptr});
    for (auto _ : state) {
        if (spawnAndWait(arguments) != expected)
            state.SkipWithError("the command fails");
    }
    state.SetBytesProcessed(state.iterations() * QFile(inMemory("log")).size());
}

void library(benchmark::State &state)
{
    const std::string program = measuredBuild() + "/bin/syncstatus-logread";
    scan(state, {program.c_str(), "--key", "KEY"}, 0);
}

void grep(benchmark::State &state)
{
    setenv("LC_ALL", "C", 1);
    scan(state, {"grep", "-F", "LicenseLogEncryptSign"}, 1);
}

BENCHMARK(library)->Name("logread/library")->UseRealTime();
BENCHMARK(grep)->Name("logread/grep")->UseRealTime();

} // namespace
