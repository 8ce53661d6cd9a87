// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logcapture.h"
#include "opensslprogram.h"
#include "rsaoperations.h"
#include "testprogram.h"
#include "throwsnothing.h"

#include <syncstatus/rsacrypt.h>

#include <QtTest>

#include <openssl/crypto.h>

#include <type_traits>

using logEncryption::RsaCrypt;

static_assert(throwsNothing(RsaCrypt::rsaPublicKeyEncrypt, RsaCrypt::rsaPrivateKeyDecrypt,
                            RsaCrypt::rsaPublicKeyDecrypt, RsaCrypt::logEncryptToBase64));
static_assert(!std::is_default_constructible_v<RsaCrypt>);

/// The operations with good keys.
class TestRsaCrypt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void opensslDecryptsWhatIsEncrypted_data();
    void opensslDecryptsWhatIsEncrypted();
    void whatOpensslEncryptsIsDecrypted_data();
    void whatOpensslEncryptsIsDecrypted();
    void whatOpensslSignsIsRecovered_data();
    void whatOpensslSignsIsRecovered();
    void lengthsAroundBlocks_data();
    void lengthsAroundBlocks();
    void manyBlocks();
    void ciphertextsOfOneTextDiffer();
    void damagedBlocksAreLeftOut_data();
    void damagedBlocksAreLeftOut();
    void refusedBlocksAreLeftOut_data();
    void refusedBlocksAreLeftOut();
    void inputCutInsideABlockGivesTheWholeBlocks_data();
    void inputCutInsideABlockGivesTheWholeBlocks();
    void publicDecryptionTakesOneBlock();

private:
    void addPairs();

    OpensslProgram m_openssl;
    LogCapture m_log;
};

void TestRsaCrypt::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program to make keys and to be the other side");
    QTextStream(stdout) << "INFO   : " << OpenSSL_version(OPENSSL_VERSION) << '\n';
}

void TestRsaCrypt::cleanup()
{
    QCOMPARE(m_log.takeLines(), QStringList());
}

void TestRsaCrypt::addPairs()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<bool>("pkcs1");
    for (const int bits : {1024, 2048, 3072, 4096}) {
        QTest::addRow("%d bits, PKCS#1", bits) << bits << true;
        QTest::addRow("%d bits, the other form", bits) << bits << false;
    }
}

void TestRsaCrypt::opensslDecryptsWhatIsEncrypted_data()
{
    addPairs();
}

void TestRsaCrypt::opensslDecryptsWhatIsEncrypted()
{
    QFETCH(int, bits);
    QFETCH(bool, pkcs1);
    const RsaPair pair = m_openssl.rsaPair(bits);
    const int block = bits / 8;

    const QByteArray text = textOf(block - paddingSize + 1);
    const QByteArray ciphertext = encrypt(text, pkcs1 ? pair.publicPkcs1 : pair.publicSpki);
    QCOMPARE(ciphertext.size(), 2 * block);
    QCOMPARE(m_openssl.decrypt(ciphertext.left(block), pair.privatePkcs8),
             text.left(block - paddingSize));
    QCOMPARE(m_openssl.decrypt(ciphertext.mid(block), pair.privatePkcs8), text.right(1));
}

void TestRsaCrypt::whatOpensslEncryptsIsDecrypted_data()
{
    addPairs();
}

void TestRsaCrypt::whatOpensslEncryptsIsDecrypted()
{
    QFETCH(int, bits);
    QFETCH(bool, pkcs1);
    const RsaPair pair = m_openssl.rsaPair(bits);
    const QByteArray privateKey = pkcs1 ? pair.privatePkcs1 : pair.privatePkcs8;
    QVERIFY(privateKey.contains(pkcs1 ? "BEGIN RSA PRIVATE KEY" : "BEGIN PRIVATE KEY"));

    for (const int size : {0, 1, bits / 8 - paddingSize}) {
        const QByteArray block = m_openssl.encrypt(textOf(size), pair.publicSpki);
        QCOMPARE(block.size(), bits / 8);
        QCOMPARE(decrypt(block, privateKey), textOf(size));
        // Blocks that are not full, one after another.
        QCOMPARE(decrypt(block + block, privateKey), textOf(size) + textOf(size));
    }
}

void TestRsaCrypt::whatOpensslSignsIsRecovered_data()
{
    addPairs();
}

void TestRsaCrypt::whatOpensslSignsIsRecovered()
{
    QFETCH(int, bits);
    QFETCH(bool, pkcs1);
    const RsaPair pair = m_openssl.rsaPair(bits);
    const QByteArray publicKey = pkcs1 ? pair.publicPkcs1 : pair.publicSpki;
    QVERIFY(publicKey.contains(pkcs1 ? "BEGIN RSA PUBLIC KEY" : "BEGIN PUBLIC KEY"));

    for (const int size : {1, 32, 64}) {
        const QByteArray block = m_openssl.sign(textOf(size), pair.privatePkcs8);
        QCOMPARE(block.size(), bits / 8);
        QCOMPARE(recover(block, publicKey), textOf(size));
    }
    // RFC 8017, section 9.2, with a text in the place of the digest.
    for (const int size : {0, 1, bits / 8 - paddingSize}) {
        const QByteArray padding(bits / 8 - size - 3, '\xff');
        const QByteArray padded =
            QByteArray("\x00\x01", 2) + padding + QByteArray(1, '\0') + textOf(size);
        const QByteArray block = m_openssl.applyPrivateKey(padded, pair.privatePkcs8);
        QCOMPARE(block.size(), bits / 8);
        QCOMPARE(recover(block, publicKey), textOf(size));
    }
}

void TestRsaCrypt::lengthsAroundBlocks_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("blocks");
    for (const int bits : {1024, 2048, 3072, 4096}) {
        const int limit = bits / 8 - paddingSize;
        QTest::addRow("%d bits, nothing", bits) << bits << 0 << 0;
        QTest::addRow("%d bits, a byte", bits) << bits << 1 << 1;
        QTest::addRow("%d bits, a block less a byte", bits) << bits << limit - 1 << 1;
        QTest::addRow("%d bits, a block", bits) << bits << limit << 1;
        QTest::addRow("%d bits, a block and a byte", bits) << bits << limit + 1 << 2;
        QTest::addRow("%d bits, two blocks", bits) << bits << 2 * limit << 2;
        QTest::addRow("%d bits, eight blocks less a byte", bits) << bits << 8 * limit - 1 << 8;
        QTest::addRow("%d bits, eight blocks and a byte", bits) << bits << 8 * limit + 1 << 9;
    }
    QTest::newRow("245 bytes") << 2048 << 245 << 1;
    QTest::newRow("246 bytes") << 2048 << 246 << 2;
}

void TestRsaCrypt::lengthsAroundBlocks()
{
    QFETCH(int, bits);
    QFETCH(int, size);
    QFETCH(int, blocks);
    const RsaPair pair = m_openssl.rsaPair(bits);

    const QByteArray ciphertext = encrypt(textOf(size), pair.publicSpki);
    QCOMPARE(ciphertext.size(), blocks * bits / 8);
    QCOMPARE(decrypt(ciphertext, pair.privatePkcs8), textOf(size));
}

void TestRsaCrypt::manyBlocks()
{
    const RsaPair pair = m_openssl.rsaPair(1024);
    const QByteArray text = textOf(200000);
    const QByteArray ciphertext = encrypt(text, pair.publicPkcs1);
    QCOMPARE(ciphertext.size(), (200000 / 117 + 1) * 128);
    QCOMPARE(decrypt(ciphertext, pair.privatePkcs1), text);
}

void TestRsaCrypt::ciphertextsOfOneTextDiffer()
{
    const RsaPair pair = m_openssl.rsaPair(1024);
    const QByteArray first = encrypt("the same", pair.publicSpki);
    const QByteArray second = encrypt("the same", pair.publicSpki);
    QVERIFY(first != second);
    QCOMPARE(decrypt(first, pair.privatePkcs8), decrypt(second, pair.privatePkcs8));
}

void TestRsaCrypt::damagedBlocksAreLeftOut_data()
{
    QTest::addColumn<QVector<int>>("damaged");
    QTest::newRow("first") << QVector<int>{0};
    QTest::newRow("in the middle") << QVector<int>{1};
    QTest::newRow("last") << QVector<int>{2};
    QTest::newRow("two") << QVector<int>{0, 2};
    QTest::newRow("all") << QVector<int>{0, 1, 2};
}

// Whether a block with bad padding is refused or gives noise is OpenSSL's choice; the noise depends
// on nothing but block and key, so the openssl program says what is to be in the block's place.
void TestRsaCrypt::damagedBlocksAreLeftOut()
{
    QFETCH(QVector<int>, damaged);
    const RsaPair pair = m_openssl.rsaPair(2048);
    QByteArray ciphertext = encrypt(textOf(3 * 245), pair.publicSpki);
    QByteArray expected;
    for (int i = 0; i < 3; ++i) {
        if (damaged.contains(i)) {
            ciphertext[i * 256 + 200] = char(ciphertext.at(i * 256 + 200) ^ 0x10);
            expected += m_openssl.decrypt(ciphertext.mid(i * 256, 256), pair.privatePkcs8);
        } else {
            expected += textOf(3 * 245).mid(i * 245, 245);
        }
    }
    QCOMPARE(decrypt(ciphertext, pair.privatePkcs8), expected);
    QCOMPARE(decrypt(ciphertext, pair.privatePkcs8), expected);
    // Noise is in every OpenSSL since 3.2, and in some distributions' before.
    if (damaged.size() == 3 && OpenSSL_version_num() >= 0x30200000L)
        QVERIFY(!expected.isEmpty());
}

void TestRsaCrypt::refusedBlocksAreLeftOut_data()
{
    damagedBlocksAreLeftOut_data();
}

// A number that is not less than the modulus is refused by every OpenSSL.
void TestRsaCrypt::refusedBlocksAreLeftOut()
{
    QFETCH(QVector<int>, damaged);
    const RsaPair pair = m_openssl.rsaPair(2048);
    QByteArray ciphertext = encrypt(textOf(3 * 245), pair.publicSpki);
    QByteArray expected;
    for (int i = 0; i < 3; ++i) {
        if (damaged.contains(i))
            ciphertext.replace(i * 256, 256, QByteArray(256, '\xff'));
        else
            expected += textOf(3 * 245).mid(i * 245, 245);
    }
    QCOMPARE(decrypt(ciphertext, pair.privatePkcs8), expected);
}

void TestRsaCrypt::inputCutInsideABlockGivesTheWholeBlocks_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {1, 128, 255, 257, 300, 511, 513, 767})
        QTest::addRow("%d bytes", size) << size;
}

void TestRsaCrypt::inputCutInsideABlockGivesTheWholeBlocks()
{
    QFETCH(int, size);
    const RsaPair pair = m_openssl.rsaPair(2048);
    const QByteArray ciphertext = encrypt(textOf(3 * 245), pair.publicSpki).left(size);

    const QByteArray whole = textOf(size / 256 * 245);
    const QByteArray rest = ciphertext.mid(size / 256 * 256);
    QCOMPARE(decrypt(ciphertext, pair.privatePkcs8),
             whole +
                 m_openssl.decrypt(QByteArray(256 - rest.size(), '\0') + rest, pair.privatePkcs8));
}

void TestRsaCrypt::publicDecryptionTakesOneBlock()
{
    const RsaPair pair = m_openssl.rsaPair(1024);
    const QByteArray block = m_openssl.sign("words", pair.privatePkcs8);
    QCOMPARE(recover(block, pair.publicSpki), QByteArray("words"));

    QCOMPARE(recover(block + block, pair.publicSpki), QByteArray());
    QCOMPARE(recover(block + '\0', pair.publicSpki), QByteArray());
    QCOMPARE(recover(block.left(127), pair.publicSpki), QByteArray());
    QCOMPARE(recover(QByteArray(), pair.publicSpki), QByteArray());
    QCOMPARE(recover(QByteArray(128, '\xff'), pair.publicSpki), QByteArray());
    // A block for the private key is none for the public one.
    QCOMPARE(recover(encrypt("words", pair.publicSpki), pair.publicSpki), QByteArray());
}

SYNCSTATUS_TEST(TestRsaCrypt)
#include "tst_rsacrypt.moc"
