// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreading.h"
#include "testprogram.h"

#include <QTest>

#include <openssl/err.h>

namespace {

/// The first character of base64 with bits of block \a i, and the first one without any after it.
int firstCharacter(int blockSize, int i)
{
    return 8 * blockSize * i / 6;
}
int endCharacter(int blockSize, int i)
{
    return (8 * blockSize * (i + 1) + 5) / 6;
}

bool isNearBlockEnd(int blockSize, int length)
{
    return qAbs(length - endCharacter(blockSize, 0)) <= 5 ||
           qAbs(length - endCharacter(blockSize, 1)) <= 5;
}

/// The reading of \a text, which is more than one block long, when only \a base64 is left of it.
Reading readingOfCut(const OpensslKey &key, const QByteArray &text, const QByteArray &base64)
{
    const int firstEnd = endCharacter(key.blockSize(), 0);
    if (base64.size() < 64) // not taken for an encrypted text
        return {marker + base64, 0, 0};
    if (base64.size() < firstEnd)
        return {"[not decrypted (cut off or wrong key): " + marker + base64 + "]", 0, 1};
    // At a block's end the cut shows only where padding is due.
    if (base64.size() == firstEnd && firstEnd % 4 == 0)
        return {text.left(key.textPerBlock()), 1, 0};
    const int blocks = base64.size() < endCharacter(key.blockSize(), 1) ? 1 : 2;
    return {text.left(blocks * key.textPerBlock()) + "[not decrypted (cut off): " +
                base64.mid(firstCharacter(key.blockSize(), blocks)) + "]",
            0, 1};
}

} // namespace

/// The reader without the program around it: texts that it cannot decrypt.
class TestLogDamage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void aTextWithoutItsPaddingIsCutOff();
    void aTextForAnotherKeyStaysInAMark_data();
    void aTextForAnotherKeyStaysInAMark();
    void theMarkCanBeReadWithTheOtherKey();
    void aDamagedBlockIsMarkedAndTheOthersAreRead_data();
    void aDamagedBlockIsMarkedAndTheOthersAreRead();
    void aTextCutOffAnywhereIsMarked_data();
    void aTextCutOffAnywhereIsMarked();
    void aWholeTextWithMoreBase64BehindItIsCutOff();
    void aCharacterDoesNotGoOnAfterAGap();

private:
    LogReading m_reading;
};

void TestLogDamage::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program");
    QCOMPARE(m_reading.makeKeys(), QByteArray());
}

void TestLogDamage::cleanup()
{
    QCOMPARE(ERR_peek_error(), 0UL);
}

void TestLogDamage::aTextWithoutItsPaddingIsCutOff()
{
    QByteArray text = m_reading.key(2048).logText("words");
    QVERIFY(text.endsWith("=="));
    const QByteArray last = text.mid(text.size() - 3, 1);
    for (const QByteArray &left : {last + "=", last}) {
        text.chop(1);
        const Reading reading = m_reading.read(text + "\n", 2048);
        QCOMPARE(reading.output, "words[not decrypted (cut off): " + left + "]\n");
        QCOMPARE(reading.read, 0);
        QCOMPARE(reading.unread, 1);
    }
    // A mark shows the last block as it was in the log.
    text[40] = text.at(40) == 'A' ? 'B' : 'A';
    QCOMPARE(m_reading.read(text + "\n", 2048).output,
             "[not decrypted (wrong key or damaged): " + text + "]\n");
}

void TestLogDamage::aTextForAnotherKeyStaysInAMark_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("reason");

    const QByteArray failed = "wrong key or damaged";
    QTest::newRow("same size") << 1024 << 10 << failed;
    QTest::newRow("same size, many blocks") << 1024 << 1000 << failed;
    QTest::newRow("longer") << 2048 << 10 << failed;
    QTest::newRow("longer, many blocks") << 3072 << 1000 << failed;
    QTest::newRow("shorter") << 512 << 10 << QByteArray("cut off or wrong key");
}

void TestLogDamage::aTextForAnotherKeyStaysInAMark()
{
    QFETCH(const int, bits);
    QFETCH(const int, length);
    QFETCH(const QByteArray, reason);
    // Another pair, of whatever size.
    OpensslProgram openssl;
    QTemporaryDir folder;
    const QByteArray text = OpensslKey(&openssl, folder.path(), bits).logText(someBytes(length));

    const Reading reading = m_reading.read("a \"" + text + "\" b\n");

    QCOMPARE(reading.output, "a \"[not decrypted (" + reason + "): " + text + "]\" b\n");
    QCOMPARE(reading.read, 0);
    QCOMPARE(reading.unread, 1);
}

void TestLogDamage::theMarkCanBeReadWithTheOtherKey()
{
    const QByteArray log = m_reading.key(1024).logText("one") + " " +
                           m_reading.key(3072).logText(someBytes(1000)) + "\n";
    const Reading reading = m_reading.read(m_reading.read(log, 1024).output, 3072);
    QCOMPARE(reading.output,
             "one [not decrypted (wrong key or damaged): " + someBytes(1000) + "]\n");
    QCOMPARE(reading.read, 1);
}

void TestLogDamage::aDamagedBlockIsMarkedAndTheOthersAreRead_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");

    for (const OpensslKey &key : m_reading.keys()) {
        const int bits = 8 * key.blockSize();
        QTest::addRow("%d bits, the first", bits) << bits << 0 << 0;
        QTest::addRow("%d bits, in the middle", bits) << bits << 1 << 1;
        QTest::addRow("%d bits, two in the middle", bits) << bits << 1 << 2;
        QTest::addRow("%d bits, the last", bits) << bits << 3 << 3;
    }
}

void TestLogDamage::aDamagedBlockIsMarkedAndTheOthersAreRead()
{
    QFETCH(const int, bits);
    QFETCH(const int, first);
    QFETCH(const int, last);
    const OpensslKey &key = m_reading.key(bits);
    const QByteArray text = someBytes(3 * key.textPerBlock() + 5);
    QByteArray blocks = key.encrypt(text);
    for (int i = first; i <= last; ++i)
        blocks[i * key.blockSize() + 60] = char(blocks[i * key.blockSize() + 60] ^ 1);
    const QByteArray base64 = blocks.toBase64();

    const Reading reading = m_reading.read("<" + marker + base64 + ">", bits);

    // The mark holds the log's own characters.
    const int begin = firstCharacter(key.blockSize(), first);
    const int end = last == 3 ? base64.size() : endCharacter(key.blockSize(), last);
    QCOMPARE(reading.output,
             "<" + text.left(first * key.textPerBlock()) +
                 "[not decrypted (wrong key or damaged): " + (first == 0 ? marker : QByteArray()) +
                 base64.mid(begin, end - begin) + "]" + text.mid((last + 1) * key.textPerBlock()) +
                 ">");
    QCOMPARE(reading.read, 0);
    QCOMPARE(reading.unread, 1);
}

void TestLogDamage::aTextCutOffAnywhereIsMarked_data()
{
    QTest::addColumn<int>("bits");
    for (const OpensslKey &key : m_reading.keys())
        QTest::addRow("%d bits", 8 * key.blockSize()) << 8 * key.blockSize();
}

void TestLogDamage::aTextCutOffAnywhereIsMarked()
{
    QFETCH(const int, bits);
    const OpensslKey &key = m_reading.key(bits);
    const QByteArray text = someBytes(key.textPerBlock() + 3);
    const QByteArray base64 = key.encrypt(text).toBase64();

    for (int length = 0; length < base64.size(); ++length) {
        // The longer keys take longer: with them every 16th place and all around the blocks' ends.
        if (bits > 1024 && length % 16 && !isNearBlockEnd(key.blockSize(), length))
            continue;
        QByteArray output;
        const auto reader = m_reading.reader(bits, &output);
        reader->feed(view(marker + base64.left(length) + "\n"));
        reader->finish();

        const Reading expected = readingOfCut(key, text, base64.left(length));
        QCOMPARE(output, expected.output + "\n");
        QCOMPARE(int(reader->readCount()), expected.read);
        QCOMPARE(int(reader->unreadCount()), expected.unread);
    }
}

void TestLogDamage::aWholeTextWithMoreBase64BehindItIsCutOff()
{
    const Reading reading = m_reading.read(m_reading.key(3072).logText("words") + "more", 3072);
    QCOMPARE(reading.output, QByteArray("words[not decrypted (cut off): more]"));
    QCOMPARE(reading.unread, 1);
}

void TestLogDamage::aCharacterDoesNotGoOnAfterAGap()
{
    const OpensslKey &key = m_reading.key(3072);
    const QByteArray text = QByteArray(key.textPerBlock() - 1, 'x') + "\xc3" +
                            QByteArray(key.textPerBlock(), 'y') + "\x9bz";
    QByteArray blocks = key.encrypt(text);
    blocks[key.blockSize() + 60] = char(blocks[key.blockSize() + 60] ^ 1);

    const Reading reading =
        m_reading.read(marker + blocks.toBase64(), 3072, LogReader::PlainText::Printable);

    QCOMPARE(reading.output, QByteArray(key.textPerBlock() - 1, 'x') +
                                 "\\xc3[not decrypted (wrong key or damaged): " +
                                 blocks.mid(key.blockSize(), key.blockSize()).toBase64() +
                                 "]\\x9bz");
}

SYNCSTATUS_TEST(TestLogDamage)
#include "tst_logdamage.moc"
