// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "opensslprogram.h"
#include "opensslstandins.h"
#include "rsaoperations.h"
#include "sanitizers.h"
#include "standin.h"
#include "testprogram.h"

#include <syncstatus/rsacrypt.h>

#include <QtTest>

#include <openssl/err.h>
#include <openssl/rsa.h>

#include <cstring>
#include <utility>

using logEncryption::RsaCrypt;

Q_DECLARE_METATYPE(RsaOperation)

namespace {

// Set to the scratch buffer, which free() then copies once before it frees it.
const char *scratch = nullptr;
QByteArray scratchAtFree; // clazy:exclude=non-pod-global-static

} // namespace

#ifndef SANITIZED
// Instead of the C library's, for Qt too.
extern "C" void __libc_free(void *memory); // NOLINT(bugprone-reserved-identifier): glibc's own name

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): its name is a reserved one
STANDIN void free(void *memory) noexcept
{
    const char *const start = static_cast<const char *>(memory);
    if (scratch && start <= scratch && scratch < start + sizeof(QByteArrayData) + 16) {
        scratchAtFree.replace(0, 16, std::exchange(scratch, nullptr), 16);
    }
    __libc_free(memory);
}
#endif

/// What RsaCrypt asks of OpenSSL, and what it does with answers that OpenSSL gives rarely or in
/// other versions only.
class TestRsaCalls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void theFunctionsNeededAreCalledInOrder_data();
    void theFunctionsNeededAreCalledInOrder();
    void withoutAMarkerEncryptionReadsNoKey();
    void withoutAMarkerPublicDecryptionTriesTheKey();
    void protectedKeysReachNoReader();
    void failuresFreeEverything_data();
    void failuresFreeEverything();
    void readingWorksWithoutAnObjectToFill();
    void blocksAreCutAtTheLimit();
    void aBlockThatIsNotEncryptedIsLeftOut();
    void aBlockWithoutTextAddsNothing();
    void noiseForADamagedBlockIsPassedOn();
    void aKeyOfNoLengthDecryptsNothing();
    void aKeyOfOneByteDecryptsBytes();
    void theScratchBufferIsClearedAfterEachBlock();
    void theScratchBufferIsClearedBeforeItIsFreed();
    void publicDecryptionPassesItsInputWhole();

private:
    OpensslProgram m_openssl;
    RsaPair m_pair;
};

void TestRsaCalls::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program to make a key");
    m_pair = m_openssl.rsaPair(1024);
    standIns = OpensslStandIns();
}

void TestRsaCalls::cleanup()
{
    const OpensslStandIns after = std::exchange(standIns, OpensslStandIns());
    QCOMPARE(after.keys, 0);
    QCOMPARE(after.bios, 0);
    QCOMPARE(ERR_peek_error(), 0UL);
    if (!after.calls.isEmpty())
        QCOMPARE(after.calls.last(), QStringLiteral("ERR_clear_error"));
}

void TestRsaCalls::theFunctionsNeededAreCalledInOrder_data()
{
    QTest::addColumn<RsaOperation>("operation");
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QString>("reader");
    QTest::addColumn<QString>("work");

    const QString pkcs1 = QStringLiteral("PEM_read_bio_RSAPublicKey");
    const QString spki = QStringLiteral("PEM_read_bio_RSA_PUBKEY");
    const QString secret = QStringLiteral("PEM_read_bio_RSAPrivateKey");
    const RsaOperation encrypt = RsaCrypt::rsaPublicKeyEncrypt;
    const RsaOperation decrypt = RsaCrypt::rsaPrivateKeyDecrypt;
    const RsaOperation recover = RsaCrypt::rsaPublicKeyDecrypt;
    QTest::newRow("encrypt, PKCS#1")
        << encrypt << m_pair.publicPkcs1 << pkcs1 << QStringLiteral("RSA_public_encrypt");
    QTest::newRow("encrypt, SubjectPublicKeyInfo")
        << encrypt << m_pair.publicSpki << spki << QStringLiteral("RSA_public_encrypt");
    QTest::newRow("decrypt, PKCS#1")
        << decrypt << m_pair.privatePkcs1 << secret << QStringLiteral("RSA_private_decrypt");
    QTest::newRow("decrypt, PKCS#8")
        << decrypt << m_pair.privatePkcs8 << secret << QStringLiteral("RSA_private_decrypt");
    // A public key's marker in the text makes no difference to a private key.
    QTest::newRow("decrypt, public markers")
        << decrypt << "BEGIN RSA PUBLIC KEY BEGIN PUBLIC KEY\n" + m_pair.privatePkcs8 << secret
        << QStringLiteral("RSA_private_decrypt");
    QTest::newRow("recover, PKCS#1")
        << recover << m_pair.publicPkcs1 << pkcs1 << QStringLiteral("RSA_public_decrypt");
    QTest::newRow("recover, SubjectPublicKeyInfo")
        << recover << m_pair.publicSpki << spki << QStringLiteral("RSA_public_decrypt");
}

void TestRsaCalls::theFunctionsNeededAreCalledInOrder()
{
    QFETCH(RsaOperation, operation);
    QFETCH(QByteArray, key);
    QFETCH(QString, reader);
    QFETCH(QString, work);

    operation(QByteArray(100, 'x'), key);
    QCOMPARE(standIns.calls,
             (QStringList{QStringLiteral("BIO_new_mem_buf"), QStringLiteral("RSA_new"), reader,
                          QStringLiteral("RSA_size"), work, QStringLiteral("BIO_free_all"),
                          QStringLiteral("RSA_free"), QStringLiteral("ERR_clear_error")}));
    QVERIFY(standIns.readerHadObject);
    QVERIFY(!standIns.readerHadCallback);
    QCOMPARE(standIns.paddings, QList<int>{RSA_PKCS1_PADDING});
}

void TestRsaCalls::withoutAMarkerEncryptionReadsNoKey()
{
    for (const QByteArray &key : {m_pair.privatePkcs8, QByteArray("-----BEGIN PUBLIC-----"),
                                  QByteArray("PUBLIC KEY"), QByteArray("begin public key")}) {
        QCOMPARE(RsaCrypt::rsaPublicKeyEncrypt("x", key), QByteArray());
        QCOMPARE(standIns.calls,
                 (QStringList{QStringLiteral("BIO_new_mem_buf"), QStringLiteral("RSA_new"),
                              QStringLiteral("BIO_free_all"), QStringLiteral("RSA_free"),
                              QStringLiteral("ERR_clear_error")}));
        standIns.calls.clear();
    }
}

void TestRsaCalls::protectedKeysReachNoReader()
{
    for (const bool pkcs1 : {true, false}) {
        const QByteArray key = m_openssl.protect(m_pair.privatePkcs8, pkcs1);
        QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt("x", key), QByteArray());
        QCOMPARE(standIns.calls,
                 (QStringList{QStringLiteral("BIO_new_mem_buf"), QStringLiteral("RSA_new"),
                              QStringLiteral("BIO_free_all"), QStringLiteral("RSA_free"),
                              QStringLiteral("ERR_clear_error")}));
        standIns.calls.clear();
    }
}

void TestRsaCalls::withoutAMarkerPublicDecryptionTriesTheKey()
{
    QCOMPARE(RsaCrypt::rsaPublicKeyDecrypt("x", "neither marker"), QByteArray());
    QCOMPARE(standIns.calls.count(QStringLiteral("PEM_read_bio_RSA_PUBKEY")), 1);
    QCOMPARE(standIns.calls.count(QStringLiteral("PEM_read_bio_RSAPublicKey")), 0);
}

void TestRsaCalls::failuresFreeEverything_data()
{
    QTest::addColumn<RsaOperation>("operation");
    QTest::addColumn<QByteArray>("key");
    QTest::newRow("encrypt") << RsaOperation(RsaCrypt::rsaPublicKeyEncrypt) << m_pair.publicPkcs1;
    QTest::newRow("decrypt") << RsaOperation(RsaCrypt::rsaPrivateKeyDecrypt) << m_pair.privatePkcs8;
    QTest::newRow("recover") << RsaOperation(RsaCrypt::rsaPublicKeyDecrypt) << m_pair.publicSpki;
}

// cleanup() checks that nothing is left.
void TestRsaCalls::failuresFreeEverything()
{
    QFETCH(RsaOperation, operation);
    QFETCH(QByteArray, key);

    standIns.failBio = true;
    QCOMPARE(operation("x", key), QByteArray());
    QCOMPARE(standIns.calls,
             (QStringList{QStringLiteral("BIO_new_mem_buf"), QStringLiteral("ERR_clear_error")}));
    cleanup();
    standIns.reader = OpensslStandIns::ReaderFails;
    QCOMPARE(operation("x", key), QByteArray());
    cleanup();
    standIns.reader = OpensslStandIns::ReaderFailsAndFrees;
    QCOMPARE(operation("x", key), QByteArray());
}

void TestRsaCalls::readingWorksWithoutAnObjectToFill()
{
    standIns.failRsaNew = true;
    QCOMPARE(RsaCrypt::rsaPublicKeyEncrypt("x", m_pair.publicPkcs1).size(), 128);
    QCOMPARE(RsaCrypt::rsaPublicKeyEncrypt("x", m_pair.publicSpki).size(), 128);
    const QByteArray block = RsaCrypt::rsaPublicKeyEncrypt("x", m_pair.publicSpki);
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt(block, m_pair.privatePkcs1), QByteArray("x"));
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt(block, m_pair.privatePkcs8), QByteArray("x"));
}

void TestRsaCalls::blocksAreCutAtTheLimit()
{
    const QByteArray text = "a text of 30 bytes, for 5 runs";
    QList<QByteArray> blocks;
    standIns.keySize = 18; // room for 7
    standIns.block = [&](int length, const uchar *from, uchar *) {
        blocks += QByteArray(reinterpret_cast<const char *>(from), length);
        return 0;
    };
    QCOMPARE(RsaCrypt::rsaPublicKeyEncrypt(text, m_pair.publicSpki), QByteArray());
    QCOMPARE(blocks, (QList<QByteArray>{"a text ", "of 30 b", "ytes, f", "or 5 ru", "ns"}));

    blocks.clear();
    standIns.keySize = 7;
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt(text, m_pair.privatePkcs8), QByteArray());
    QCOMPARE(blocks, (QList<QByteArray>{"a text ", "of 30 b", "ytes, f", "or 5 ru", "ns"}));
}

void TestRsaCalls::aBlockThatIsNotEncryptedIsLeftOut()
{
    int block = 0;
    standIns.keySize = 13; // room for 2
    standIns.block = [&](int length, const uchar *from, uchar *to) {
        std::memcpy(to, from, size_t(length));
        return ++block == 2 ? -1 : length;
    };
    QCOMPARE(RsaCrypt::rsaPublicKeyEncrypt("aabbcc", m_pair.publicSpki), QByteArray("aacc"));
    QCOMPARE(block, 3);
}

void TestRsaCalls::aBlockWithoutTextAddsNothing()
{
    int block = 0;
    standIns.keySize = 2;
    standIns.block = [&](int length, const uchar *from, uchar *to) {
        std::memcpy(to, from, size_t(length));
        return ++block == 2 ? 0 : length;
    };
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt("aabbcc", m_pair.privatePkcs8), QByteArray("aacc"));
    QCOMPARE(block, 3);
}

// As OpenSSL 3.2 does it: for a damaged block it gives random bytes, as many as it likes.
void TestRsaCalls::noiseForADamagedBlockIsPassedOn()
{
    int block = 0;
    standIns.keySize = 5;
    standIns.block = [&](int length, const uchar *from, uchar *to) {
        const bool damaged = ++block == 2;
        const int size = damaged ? 3 : length;
        std::memcpy(to, damaged ? reinterpret_cast<const uchar *>("\x80\xff\0") : from,
                    size_t(size));
        return size;
    };
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt("aaaaabbbbbccccc", m_pair.privatePkcs8),
             QByteArray("aaaaa\x80\xff\0ccccc", 13));
}

void TestRsaCalls::aKeyOfNoLengthDecryptsNothing()
{
    standIns.keySize = 0;
    standIns.block = [](int, const uchar *, uchar *) -> int { qFatal("there is no block"); };
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt("abc", m_pair.privatePkcs8), QByteArray());
}

void TestRsaCalls::aKeyOfOneByteDecryptsBytes()
{
    standIns.keySize = 1;
    standIns.block = [](int length, const uchar *from, uchar *to) {
        *to = *from;
        return length;
    };
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt("abc", m_pair.privatePkcs8), QByteArray("abc"));
}

void TestRsaCalls::theScratchBufferIsClearedAfterEachBlock()
{
    QList<QByteArray> found;
    standIns.keySize = 16;
    standIns.block = [&](int length, const uchar *, uchar *to) {
        found += QByteArray(reinterpret_cast<const char *>(to), 16);
        std::memset(to, 'x', 16);
        return length;
    };
    RsaCrypt::rsaPublicKeyEncrypt(QByteArray(20, 'a'), m_pair.publicSpki);
    QCOMPARE(found.size(), 4);
    RsaCrypt::rsaPrivateKeyDecrypt(QByteArray(64, 'a'), m_pair.privatePkcs8);
    QCOMPARE(found.size(), 8);
    for (const QByteArray &scratch : qAsConst(found))
        QCOMPARE(scratch, QByteArray(16, '\0'));

    // Also after one that has given nothing.
    found.clear();
    standIns.block = [&](int, const uchar *, uchar *to) {
        found += QByteArray(reinterpret_cast<const char *>(to), 16);
        std::memset(to, 'x', 16);
        return 0;
    };
    RsaCrypt::rsaPrivateKeyDecrypt(QByteArray(32, 'a'), m_pair.privatePkcs8);
    QCOMPARE(found, (QList<QByteArray>{QByteArray(16, '\0'), QByteArray(16, '\0')}));
}

void TestRsaCalls::theScratchBufferIsClearedBeforeItIsFreed()
{
#ifdef SANITIZED
    QSKIP("the sanitizer's free() is the one that counts");
#endif
    standIns.keySize = 16;
    standIns.block = [&](int, const uchar *, uchar *to) {
        std::memset(to, 'x', 16);
        scratchAtFree = QByteArray(16, 'n'); // never freed
        scratch = reinterpret_cast<const char *>(to);
        return -1;
    };
    RsaCrypt::rsaPrivateKeyDecrypt("a", m_pair.privatePkcs8);
    QCOMPARE(scratch, nullptr);
    QCOMPARE(scratchAtFree, QByteArray(16, '\0'));
}

void TestRsaCalls::publicDecryptionPassesItsInputWhole()
{
    const QByteArray input(1000, 'i');
    QList<QByteArray> inputs;
    QByteArray output;
    standIns.block = [&](int length, const uchar *from, uchar *to) {
        inputs += QByteArray(reinterpret_cast<const char *>(from), length);
        output = QByteArray(reinterpret_cast<const char *>(to), 128);
        to[0] = 'o';
        return 2;
    };
    QCOMPARE(RsaCrypt::rsaPublicKeyDecrypt(input, m_pair.publicSpki), QByteArray("o\0", 2));
    QCOMPARE(inputs, QList<QByteArray>{input});
    QCOMPARE(output, QByteArray(128, '\0'));

    standIns.block = [](int, const uchar *, uchar *to) {
        to[0] = 'o';
        return -1;
    };
    QCOMPARE(RsaCrypt::rsaPublicKeyDecrypt(input, m_pair.publicSpki), QByteArray());
    standIns.block = [](int, const uchar *, uchar *) { return 0; };
    QCOMPARE(RsaCrypt::rsaPublicKeyDecrypt(input, m_pair.publicSpki), QByteArray());
    standIns.block = [](int, const uchar *, uchar *) { return 128; };
    QCOMPARE(RsaCrypt::rsaPublicKeyDecrypt(input, m_pair.publicSpki), QByteArray(128, '\0'));
}

SYNCSTATUS_TEST(TestRsaCalls)
#include "tst_rsacalls.moc"
