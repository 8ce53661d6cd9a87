// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "atonce.h"
#include "opensslprogram.h"
#include "ownsplitting.h"
#include "testprogram.h"

#include <syncstatus/rsacrypt.h>

#include <QtTest>

#include <openssl/err.h>

#include <vector>

using logEncryption::RsaCrypt;

class TestRsaThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eightThreadsCallEveryOperationAtOnce();
};

void TestRsaThreads::eightThreadsCallEveryOperationAtOnce()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program to make keys and to be the other side");
    constexpr int rounds = 20;
    OpensslProgram openssl;
    const RsaPair pair = openssl.rsaPair(1024);
    const RsaPair other = openssl.rsaPair(2048);
    const QByteArray signedBlock = openssl.sign("words", pair.privatePkcs8);
    const QByteArray half = pair.publicPkcs1.left(150);
    const QByteArray marker("LicenseLogEncryptSign");
    recoverSecretKey = [&](const QStringList &) { return other.publicSpki; };

    std::vector<int> good(8);
    atOnce(int(good.size()), [&](int thread) {
        const RsaPair &mine = thread % 2 ? pair : other;
        const QByteArray text(200 + 100 * thread, char('a' + thread));
        for (int round = 0; round < rounds; ++round) {
            const QByteArray encrypted = RsaCrypt::rsaPublicKeyEncrypt(text, mine.publicPkcs1);
            const QByteArray logText = RsaCrypt::logEncryptToBase64(text);
            const QByteArray fromLog = QByteArray::fromBase64(logText.mid(marker.size()));
            good[size_t(thread)] +=
                RsaCrypt::rsaPrivateKeyDecrypt(encrypted, mine.privatePkcs8) == text &&
                logText.startsWith(marker) &&
                RsaCrypt::rsaPrivateKeyDecrypt(fromLog, other.privatePkcs8) == text &&
                RsaCrypt::rsaPublicKeyDecrypt(signedBlock, pair.publicSpki) == "words" &&
                RsaCrypt::rsaPublicKeyEncrypt(text, half).isEmpty() &&
                RsaCrypt::rsaPrivateKeyDecrypt(text, half).isEmpty() && ERR_peek_error() == 0;
        }
    });
    QCOMPARE(good, std::vector<int>(8, rounds));
}

SYNCSTATUS_TEST(TestRsaThreads)
#include "tst_rsathreads.moc"
