// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "descriptors.h"
#include "logcapture.h"
#include "opensslprogram.h"
#include "ownsplitting.h"
#include "testprogram.h"

#include <syncstatus/rsacrypt.h>

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QtTest>

#include <openssl/err.h>

#include <new>

using logEncryption::RsaCrypt;

namespace {

const char marker[] = "LicenseLogEncryptSign";
constexpr int markerSize = 21;

} // namespace

class TestLogText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void descriptorsAreNotNeeded();
    void theTextIsMarkerAndBase64();
    void opensslReadsTheText_data();
    void opensslReadsTheText();
    void base64IsPaddedAndOnOneLine_data();
    void base64IsPaddedAndOnOneLine();
    void everyCallAsksTheHostForTheKey();
    void theKeyIsNotKept();
    void theHostGetsThreePiecesInOrder();
    void noTextGivesTheMarkerAlone();
    void aKeyThatIsNoneGivesTheMarkerAlone_data();
    void aKeyThatIsNoneGivesTheMarkerAlone();
    void joiningThatThrowsGivesTheMarkerAlone();
    void theMarkerAloneOutlivesTheLibrary();

private:
    OpensslProgram m_openssl;
    RsaPair m_pair;
    LogCapture m_log;

    // What the host joins the pieces to, and what it has been given.
    QByteArray m_joinedKey;
    QList<QStringList> m_given;
};

void TestLogText::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program to make keys and to be the other side");
    m_pair = m_openssl.rsaPair(2048);
}

void TestLogText::init()
{
    m_joinedKey = m_pair.publicSpki;
    m_given.clear();
    recoverSecretKey = [this](const QStringList &pieces) {
        m_given += pieces;
        return m_joinedKey;
    };
    ERR_put_error(ERR_LIB_USER, 0, 1, __FILE__, __LINE__);
}

void TestLogText::cleanup()
{
    QCOMPARE(m_log.takeLines(), QStringList());
    QCOMPARE(ERR_peek_error(), 0UL);
}

// This comes first, so that its call is the process's first one, in which OpenSSL sets itself up.
void TestLogText::descriptorsAreNotNeeded()
{
    const int before = openDescriptors();
    QByteArray logText;
    QElapsedTimer timer;
    timer.start();
    {
        const DescriptorShortage shortage;
        logText = RsaCrypt::logEncryptToBase64("word");
    }
    QVERIFY(timer.elapsed() < 10000); // it waits for nothing, also on a busy machine
    QCOMPARE(
        m_openssl.decrypt(QByteArray::fromBase64(logText.mid(markerSize)), m_pair.privatePkcs8),
        QByteArray("word"));
    QCOMPARE(openDescriptors(), before);
}

// For a 2048-bit key: 256 bytes for each started 245.
void TestLogText::theTextIsMarkerAndBase64()
{
    const QByteArray text = RsaCrypt::logEncryptToBase64(QByteArray(245, 't'));
    QCOMPARE(text.left(markerSize), QByteArray(marker));
    QCOMPARE(text.size(), markerSize + 344);
    QCOMPARE(RsaCrypt::logEncryptToBase64(QByteArray(246, 't')).size(), markerSize + 684);
}

void TestLogText::opensslReadsTheText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("a word") << QByteArray("word");
    QTest::newRow("UTF-8") << QStringLiteral("Schlüssel 钥匙").toUtf8();
    QTest::newRow("Latin-1") << QByteArray("Schl\xfcssel");
    QTest::newRow("NUL and newline") << QByteArray("a\0b\nc", 5);
    QTest::newRow("white space around it") << QByteArray(" \twords\n ");
    QTest::newRow("a full block") << QByteArray(245, 't');
}

void TestLogText::opensslReadsTheText()
{
    QFETCH(QByteArray, text);
    for (const QByteArray &key : {m_pair.publicSpki, m_pair.publicPkcs1}) {
        m_joinedKey = key;
        const QByteArray block =
            QByteArray::fromBase64(RsaCrypt::logEncryptToBase64(text).mid(markerSize));
        QCOMPARE(m_openssl.decrypt(block, m_pair.privatePkcs8), text);
        QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt(block, m_pair.privatePkcs8), text);
    }
}

void TestLogText::base64IsPaddedAndOnOneLine_data()
{
    QTest::addColumn<int>("blocks");
    // 256, 512 and 768 bytes leave 1, 2 and 0 bytes in the last group of three.
    for (const int blocks : {1, 2, 3, 40})
        QTest::addRow("%d blocks", blocks) << blocks;
}

void TestLogText::base64IsPaddedAndOnOneLine()
{
    QFETCH(int, blocks);
    const QRegularExpression form(QStringLiteral(
        "\\ALicenseLogEncryptSign([A-Za-z0-9+/]{4})*([A-Za-z0-9+/]{2}(==|[A-Za-z0-9+/]=))?\\z"));
    const QByteArray text(blocks * 245, 't');
    QByteArray all;
    // Enough to meet every character of the alphabet.
    for (int i = 0; i < 20; ++i) {
        const QByteArray logText = RsaCrypt::logEncryptToBase64(text);
        QVERIFY2(form.match(QString::fromLatin1(logText)).hasMatch(), logText.constData());
        QCOMPARE(logText.size(), markerSize + (blocks * 256 + 2) / 3 * 4);
        all += logText.mid(markerSize);
    }
    QVERIFY(all.contains('+') && all.contains('/'));
}

void TestLogText::everyCallAsksTheHostForTheKey()
{
    for (int calls = 1; calls <= 3; ++calls) {
        RsaCrypt::logEncryptToBase64("word");
        QCOMPARE(m_given.size(), calls);
    }
}

void TestLogText::theKeyIsNotKept()
{
    QVERIFY(RsaCrypt::logEncryptToBase64("word").size() > markerSize);
    m_joinedKey.clear();
    QCOMPARE(RsaCrypt::logEncryptToBase64("word"), QByteArray(marker));
    const RsaPair other = m_openssl.rsaPair(1024);
    m_joinedKey = other.publicSpki;
    const QByteArray logText = RsaCrypt::logEncryptToBase64("word");
    QCOMPARE(m_openssl.decrypt(QByteArray::fromBase64(logText.mid(markerSize)), other.privatePkcs8),
             QByteArray("word"));
}

void TestLogText::theHostGetsThreePiecesInOrder()
{
    RsaCrypt::logEncryptToBase64("word");
    QCOMPARE(m_given.size(), 1);
    const QStringList pieces = m_given.first();
    QCOMPARE(pieces.size(), 3);
    for (int i = 0; i < 3; ++i) {
        const QRegularExpression form(QStringLiteral("\\A3-%1-[!-~]+\\z").arg(i + 1));
        QVERIFY2(form.match(pieces.at(i)).hasMatch(), qPrintable(pieces.at(i)));
    }
}

void TestLogText::noTextGivesTheMarkerAlone()
{
    QCOMPARE(RsaCrypt::logEncryptToBase64(QByteArray()), QByteArray(marker));
    QCOMPARE(RsaCrypt::logEncryptToBase64(QByteArray("")), QByteArray(marker));
}

void TestLogText::aKeyThatIsNoneGivesTheMarkerAlone_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("words") << QByteArray("no key");
    QTest::newRow("a private key") << m_pair.privatePkcs8;
    QTest::newRow("half a key") << m_pair.publicSpki.left(200);
    QTest::newRow("an EC key") << m_openssl.ecPair().publicSpki;
    QTest::newRow("the other marker in the text") << "BEGIN RSA PUBLIC KEY\n" + m_pair.publicSpki;
}

void TestLogText::aKeyThatIsNoneGivesTheMarkerAlone()
{
    QFETCH(QByteArray, key);
    m_joinedKey = key;
    QCOMPARE(RsaCrypt::logEncryptToBase64("word"), QByteArray(marker));
}

void TestLogText::joiningThatThrowsGivesTheMarkerAlone()
{
    int calls = 0;
    recoverSecretKey = [&](const QStringList &) -> QByteArray {
        if (++calls == 1)
            throw std::bad_alloc();
        throw 5;
    };
    for (int call = 1; call <= 2; ++call) {
        ERR_put_error(ERR_LIB_USER, 0, 1, __FILE__, __LINE__);
        QCOMPARE(RsaCrypt::logEncryptToBase64("word"), QByteArray(marker));
        QCOMPARE(calls, call);
        QCOMPARE(ERR_peek_error(), 0UL);
    }
}

// Static data of the library would go away with it.
void TestLogText::theMarkerAloneOutlivesTheLibrary()
{
    QByteArray logText = RsaCrypt::logEncryptToBase64(QByteArray());
    QVERIFY(!logText.data_ptr()->ref.isStatic());
    m_joinedKey.clear();
    logText = RsaCrypt::logEncryptToBase64("word");
    QVERIFY(!logText.data_ptr()->ref.isStatic());
}

SYNCSTATUS_TEST(TestLogText)
#include "tst_logtext.moc"
