// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "opensslprogram.h"
#include "testprogram.h"

#include <syncstatus/rsacrypt.h>

#include <QtTest>

#include <openssl/crypto.h>
#include <openssl/err.h>

#include <cstdlib>

using logEncryption::RsaCrypt;

namespace {

// How many of OpenSSL's allocations are alive, and how many more succeed (-1: all).
int alive = 0;
int granted = -1;

bool grant()
{
    if (granted == 0)
        return false;
    if (granted > 0)
        --granted;
    return true;
}

void *countedMalloc(size_t size, const char *, int)
{
    void *memory = size && grant() ? std::malloc(size) : nullptr;
    alive += memory != nullptr;
    return memory;
}

void countedFree(void *memory, const char *, int)
{
    alive -= memory != nullptr;
    std::free(memory);
}

void *countedRealloc(void *memory, size_t size, const char *file, int line)
{
    if (!memory)
        return countedMalloc(size, file, line);
    if (size == 0) {
        countedFree(memory, file, line);
        return nullptr;
    }
    return grant() ? std::realloc(memory, size) : nullptr;
}

} // namespace

/// Every path through the operations, with OpenSSL's allocations counted.
class TestRsaLeaks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void nothingIsLeftBehind_data();
    void nothingIsLeftBehind();
    void lackOfMemoryLeavesNothingBehind_data();
    void lackOfMemoryLeavesNothingBehind();

private:
    OpensslProgram m_openssl;
    RsaPair m_pair;
};

void TestRsaLeaks::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program to make keys");
    // OpenSSL has not allocated anything yet.
    QCOMPARE(CRYPTO_set_mem_functions(countedMalloc, countedRealloc, countedFree), 1);
    m_pair = m_openssl.rsaPair(1024);
}

void TestRsaLeaks::nothingIsLeftBehind_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::newRow("SubjectPublicKeyInfo") << m_pair.publicSpki;
    QTest::newRow("PKCS#1 public key") << m_pair.publicPkcs1;
    QTest::newRow("PKCS#8 private key") << m_pair.privatePkcs8;
    QTest::newRow("PKCS#1 private key") << m_pair.privatePkcs1;
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("words") << QByteArray("words");
    const RsaPair ec = m_openssl.ecPair();
    QTest::newRow("EC public key") << ec.publicSpki;
    QTest::newRow("EC private key") << ec.privatePkcs8;
    // Good PEM around bad DER: a reader may free the object that it was given.
    for (const char *name : {"PUBLIC KEY", "RSA PUBLIC KEY", "PRIVATE KEY", "RSA PRIVATE KEY"}) {
        const auto pem = [&](const QByteArray &base64) {
            return QByteArray("-----BEGIN ") + name + "-----\n" + base64 + "\n-----END " + name +
                   "-----\n";
        };
        QTest::addRow("%s, no DER", name) << pem("d29yZHM=");
        QTest::addRow("%s, empty sequence", name) << pem("MAA=");
        QTest::addRow("%s, one number", name) << pem("MAMCAQU=");
        QTest::addRow("%s, two numbers", name) << pem("MAYCAQUCAQM=");
        QTest::addRow("%s, a sequence that ends early", name) << pem("MAcCAQUCAQM=");
        QTest::addRow("%s, no end", name) << pem("MAYCAQUCAQM=").chopped(30);
        QTest::addRow("%s, bad base64", name) << pem("M***CAQUCAQM=");
    }
}

void TestRsaLeaks::nothingIsLeftBehind()
{
    QFETCH(QByteArray, key);
    const QByteArray block = RsaCrypt::rsaPublicKeyEncrypt("words", m_pair.publicSpki);
    const QByteArray damaged = QByteArray(128, '\xff') + block + block.left(5);
    const auto everyOperation = [&] {
        RsaCrypt::rsaPublicKeyEncrypt(QByteArray(300, 'x'), key);
        RsaCrypt::rsaPublicKeyEncrypt(QByteArray(), key);
        RsaCrypt::rsaPrivateKeyDecrypt(block, key);
        RsaCrypt::rsaPrivateKeyDecrypt(damaged, key);
        RsaCrypt::rsaPublicKeyDecrypt(block, key);
        RsaCrypt::rsaPublicKeyDecrypt(damaged, key);
        RsaCrypt::logEncryptToBase64("words");
    };
    // OpenSSL makes some objects once and keeps them.
    everyOperation();
    everyOperation();
    const int before = alive;
    for (int i = 0; i < 5; ++i)
        everyOperation();
    QCOMPARE(alive, before);
}

void TestRsaLeaks::lackOfMemoryLeavesNothingBehind_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::newRow("SubjectPublicKeyInfo") << m_pair.publicSpki;
    QTest::newRow("PKCS#1 public key") << m_pair.publicPkcs1;
    QTest::newRow("PKCS#8 private key") << m_pair.privatePkcs8;
    QTest::newRow("PKCS#1 private key") << m_pair.privatePkcs1;
}

// Each round grants one allocation more than the round before, until all operations succeed.
void TestRsaLeaks::lackOfMemoryLeavesNothingBehind()
{
    QFETCH(QByteArray, key);
    const QByteArray block = RsaCrypt::rsaPublicKeyEncrypt("words", m_pair.publicSpki);
    const auto everyOperationWith = [&](int allocations) {
        int results = 0;
        for (const auto operation : {RsaCrypt::rsaPublicKeyEncrypt, RsaCrypt::rsaPrivateKeyDecrypt,
                                     RsaCrypt::rsaPublicKeyDecrypt}) {
            granted = allocations;
            const QByteArray result = operation(block, key);
            granted = -1;
            results += !result.isEmpty();
            if (ERR_peek_error() != 0)
                qFatal("OpenSSL's error queue is not empty");
        }
        return results;
    };
    const int successes = everyOperationWith(-1);
    QVERIFY(successes > 0);
    int allocations = 0;
    for (; allocations < 10000; ++allocations) {
        everyOperationWith(allocations);
        const int before = alive;
        const int results = everyOperationWith(allocations);
        // OpenSSL 3.6 may free what it had kept.
        QVERIFY2(alive <= before, qPrintable(QString::number(alive - before) + " more are alive"));
        if (results == successes)
            break;
    }
    QVERIFY(allocations > 12 && allocations < 10000);
}

SYNCSTATUS_TEST(TestRsaLeaks)
#include "tst_rsaleaks.moc"
