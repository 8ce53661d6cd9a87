// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreading.h"
#include "testprogram.h"

#include <QTest>

#include <openssl/err.h>

/// The reader without the program around it: texts that are whole.
class TestLogReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void aLogWithoutEncryptedTextIsUntouched_data();
    void aLogWithoutEncryptedTextIsUntouched();
    void whatOnlyLooksLikeAnEncryptedTextIsUntouched_data();
    void whatOnlyLooksLikeAnEncryptedTextIsUntouched();
    void aTextIsReplacedWhereItStands_data();
    void aTextIsReplacedWhereItStands();
    void textsOfEveryLengthAreRead_data();
    void textsOfEveryLengthAreRead();
    void textsMayFollowEachOtherDirectly_data();
    void textsMayFollowEachOtherDirectly();
    void plainTextIsNotReadAgain();
    void plainTextOfAnyBytesIsExact();
    void paddingEndsTheText();
    void eachLogEndsItsTexts();
    void aLineIsGivenWhenItHasCome();
    void noMoreThanABlockIsHeldBack_data();
    void noMoreThanABlockIsHeldBack();
    void onATerminalControlCharactersAreShown_data();
    void onATerminalControlCharactersAreShown();
    void onATerminalAControlCharacterIsShownAtOnce();

private:
    LogReading m_reading;
};

void TestLogReader::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program");
    QCOMPARE(m_reading.makeKeys(), QByteArray());
}

void TestLogReader::cleanup()
{
    QCOMPARE(ERR_peek_error(), 0UL);
}

void TestLogReader::aLogWithoutEncryptedTextIsUntouched_data()
{
    QTest::addColumn<QByteArray>("log");

    QByteArray everyByte;
    for (int i = 0; i < 256; ++i)
        everyByte += char(i);

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("a line") << QByteArray("Nov 21 00:00:00 host agent[1]: ready\n");
    QTest::newRow("no last newline") << QByteArray("one\ntwo");
    QTest::newRow("CRLF") << QByteArray("one\r\ntwo\r\n\r\n");
    QTest::newRow("NUL") << QByteArray("a\0b\0\n\0", 6);
    QTest::newRow("not UTF-8") << QByteArray("\xff\xfe\xc3(\xe4\n\x80");
    QTest::newRow("every byte") << everyByte;
    QTest::newRow("escape sequences") << QByteArray("\x1b[31mred\x1b[0m\n");
    QTest::newRow("base64") << someBytes(3000).toBase64();
    QTest::newRow("long line") << QByteArray(200'000, 'L');
}

void TestLogReader::aLogWithoutEncryptedTextIsUntouched()
{
    QFETCH(const QByteArray, log);
    const Reading reading = m_reading.read(log);
    QCOMPARE(reading.output, log);
    QCOMPARE(reading.read, 0);
    QCOMPARE(reading.unread, 0);
}

void TestLogReader::whatOnlyLooksLikeAnEncryptedTextIsUntouched_data()
{
    QTest::addColumn<QByteArray>("log");

    QTest::newRow("bare, for an empty text") << "text: \"" + marker + "\"\n";
    QTest::newRow("bare, at the end") << "text: " + marker;
    QTest::newRow("bare, twice") << marker + marker;
    QTest::newRow("in a word") << "the" + marker + "ature is wrong\n";
    QTest::newRow("in a path") << "/opt/" + marker + "/keys/log.pem\n";
    QTest::newRow("with padding only") << marker + "==\n";
    QTest::newRow("with some base64") << marker + "TWFu==== and more\n";
    QTest::newRow("with 63 characters") << marker + QByteArray(63, 'A') + "=\n";
    QTest::newRow("other case") << marker.toLower() + someBytes(300).toBase64();
    QTest::newRow("in two lines") << QByteArray("LicenseLog\nEncryptSign") +
                                         someBytes(300).toBase64();
    QTest::newRow("blank before base64") << marker + " " + someBytes(300).toBase64();
    QTest::newRow("beginnings of it") << QByteArray("LLicLicenseLLicenseLicenseLogEncryptSig\n");
    QTest::newRow("ends with a beginning") << QByteArray("LicenseLogEncryptSig");
}

void TestLogReader::whatOnlyLooksLikeAnEncryptedTextIsUntouched()
{
    aLogWithoutEncryptedTextIsUntouched();
}

void TestLogReader::aTextIsReplacedWhereItStands_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");

    QTest::newRow("alone") << QByteArray() << QByteArray();
    QTest::newRow("in a line") << QByteArray("one\nuser ") << QByteArray(" logged in\ntwo\n");
    QTest::newRow("in quotes") << QByteArray("user \"") << QByteArray("\" logged in\n");
    QTest::newRow("after an equals sign") << QByteArray("user=") << QByteArray("\n");
    QTest::newRow("after a word") << QByteArray("LicenseuserL") << QByteArray(")\n");
    QTest::newRow("after the beginning of a marker") << QByteArray("License") << QByteArray("\n");
    QTest::newRow("before CRLF") << QByteArray("user ") << QByteArray("\r\nnext\r\n");
    QTest::newRow("between NUL") << QByteArray("a\0", 2) << QByteArray("\0b", 2);
    QTest::newRow("before what is not UTF-8") << QByteArray("\xe4") << QByteArray("\xff\xe4");
    QTest::newRow("before the beginning of a marker") << QByteArray() << QByteArray(" License");
}

void TestLogReader::aTextIsReplacedWhereItStands()
{
    QFETCH(const QByteArray, before);
    QFETCH(const QByteArray, after);
    const QByteArray text = "Grüße";
    for (const OpensslKey &key : m_reading.keys()) {
        const Reading reading =
            m_reading.read(before + key.logText(text) + after, 8 * key.blockSize());
        QCOMPARE(reading.output, before + text + after);
        QCOMPARE(reading.read, 1);
        QCOMPARE(reading.unread, 0);
    }
}

void TestLogReader::textsOfEveryLengthAreRead_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("length");

    for (const OpensslKey &key : m_reading.keys()) {
        const int block = key.textPerBlock();
        for (const int length : {1, block - 1, block, block + 1, 2 * block, 7 * block + 3})
            QTest::addRow("%d bits, %d bytes", 8 * key.blockSize(), length)
                << 8 * key.blockSize() << length;
    }
}

void TestLogReader::textsOfEveryLengthAreRead()
{
    QFETCH(const int, bits);
    QFETCH(const int, length);
    const QByteArray text = someBytes(length);

    const Reading reading = m_reading.read("<" + m_reading.key(bits).logText(text) + ">", bits);

    QCOMPARE(reading.output, "<" + text + ">");
    QCOMPARE(reading.read, 1);
    QCOMPARE(reading.unread, 0);
}

void TestLogReader::textsMayFollowEachOtherDirectly_data()
{
    QTest::addColumn<int>("bits");
    for (const OpensslKey &key : m_reading.keys())
        QTest::addRow("%d bits", 8 * key.blockSize()) << 8 * key.blockSize();
}

void TestLogReader::textsMayFollowEachOtherDirectly()
{
    QFETCH(const int, bits);
    const OpensslKey &key = m_reading.key(bits);

    const Reading reading = m_reading.read(
        key.logText("one") + key.logText("two") + marker + key.logText("three"), bits);

    QCOMPARE(reading.output, "onetwo" + marker + "three");
    QCOMPARE(reading.read, 3);
    QCOMPARE(reading.unread, 0);
}

void TestLogReader::plainTextIsNotReadAgain()
{
    const QByteArray inner = m_reading.key(1024).logText("inner");
    const Reading reading = m_reading.read(m_reading.key(1024).logText(inner));
    QCOMPARE(reading.output, inner);
    QCOMPARE(reading.read, 1);
}

void TestLogReader::plainTextOfAnyBytesIsExact()
{
    const QByteArray text = QByteArray("a\0\n\r\x1b[31m\x7f\xc2\x9b\xff", 14) + someBytes(1000);
    QCOMPARE(m_reading.read(m_reading.key(2048).logText(text), 2048).output, text);
}

void TestLogReader::paddingEndsTheText()
{
    for (const OpensslKey &key : m_reading.keys()) {
        const Reading reading = m_reading.read(key.logText("words") + "==\n", 8 * key.blockSize());
        QCOMPARE(reading.output, QByteArray("words==\n"));
        QCOMPARE(reading.read, 1);
    }
    for (const int bits : {1024, 2048}) {
        const Reading reading =
            m_reading.read(m_reading.key(bits).logText("words") + "more\n", bits);
        QCOMPARE(reading.output, QByteArray("wordsmore\n"));
        QCOMPARE(reading.read, 1);
    }
}

void TestLogReader::eachLogEndsItsTexts()
{
    QByteArray output;
    const auto reader = m_reading.reader(1024, &output);
    const QByteArray text = m_reading.key(1024).logText("words");

    reader->feed(view(text.left(100)));
    reader->finish();
    reader->feed(view(text.mid(100)));
    reader->finish();
    reader->feed("LicenseLogEncrypt");
    reader->finish();
    reader->feed(view("Sign" + text));
    reader->finish();

    QCOMPARE(output, "[not decrypted (cut off or wrong key): " + text.left(100) + "]" +
                         text.mid(100) + "LicenseLogEncryptSignwords");
    QCOMPARE(reader->readCount(), 1ULL);
    QCOMPARE(reader->unreadCount(), 1ULL);
}

void TestLogReader::aLineIsGivenWhenItHasCome()
{
    QByteArray output;
    const auto reader = m_reading.reader(1024, &output);
    const QByteArray text = m_reading.key(1024).logText("words");
    QByteArray expected;
    for (const QByteArray &line :
         {QByteArray("plain\n"), "user " + text + "\n", text + text.left(100) + " \n",
          QByteArray("License\n"), marker + "\n"}) {
        reader->feed(view(line));
        expected += m_reading.read(line).output;
        QCOMPARE(output, expected);
    }
}

void TestLogReader::noMoreThanABlockIsHeldBack_data()
{
    QTest::addColumn<QByteArray>("log");

    QTest::newRow("a text without end") << marker + QByteArray(20'000, 'A');
    QTest::newRow("padding without end") << marker + QByteArray(20'000, '=');
    QTest::newRow("texts that end at once") << (marker + "=").repeated(1000);
    QTest::newRow("markers without end") << marker.repeated(1000);
    QTest::newRow("beginnings of markers without end") << marker.left(20).repeated(1000);
}

void TestLogReader::noMoreThanABlockIsHeldBack()
{
    QFETCH(const QByteArray, log);
    const int mostHeldBack = 2 * marker.size() + (8 * m_reading.key(1024).blockSize() + 5) / 6;
    QByteArray output;
    const auto reader = m_reading.reader(1024, &output);
    for (int i = 0; i < log.size(); ++i) {
        reader->feed(view(log.mid(i, 1)));
        QVERIFY2(output.size() >= i + 1 - mostHeldBack, qPrintable(QString::number(i)));
    }
}

void TestLogReader::onATerminalControlCharactersAreShown_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("shown");

    const int block = m_reading.key(1024).textPerBlock();
    const QByteArray filler(block - 1, 'x');

    QTest::newRow("words") << QByteArray("plain words\twith a tab")
                           << QByteArray("plain words\twith a tab");
    QTest::newRow("UTF-8") << QByteArray("Gr\xc3\xbc\xc3\x9f"
                                         "e \xe2\x82\xac \xc2\xa0")
                           << QByteArray("Gr\xc3\xbc\xc3\x9f"
                                         "e \xe2\x82\xac \xc2\xa0");
    QTest::newRow("escape sequence")
        << QByteArray("\x1b]0;title\x07\x1b[2J") << QByteArray(R"(\x1b]0;title\x07\x1b[2J)");
    QTest::newRow("line ends") << QByteArray("a\r\nb\n") << QByteArray(R"(a\x0d\x0ab\x0a)");
    QTest::newRow("NUL and DEL") << QByteArray("\0\x7f", 2) << QByteArray(R"(\x00\x7f)");
    const auto addEscaped = [](const QByteArray &name, const QByteArray &bytes) {
        QByteArray shown;
        for (const char c : bytes)
            shown += "\\x" + QByteArray(1, c).toHex();
        QTest::newRow(name.constData()) << "a" + bytes + "b"
                                        << "a" + shown + "b";
    };
    addEscaped("eight-bit control characters in UTF-8", "\xc2\x80\xc2\x9b\xc2\x9f");
    addEscaped("eight-bit control characters", "\x80\x9b\x9f");
    addEscaped("one after another", "\x80\x9b");
    addEscaped("one after a byte that is never in UTF-8", "\xff\x9b");
    addEscaped("one after what nothing may follow", "\xf5\x9b\xc1\x9b\xc0\x9b");
    addEscaped("longer than need be", "\xe0\x82\x9b\xf0\x80\x82\x9b");
    addEscaped("surrogates", "\xed\xa0\x9b");
    addEscaped("beyond Unicode", "\xf4\x90\x9b\x9b\xf5\x80\x9b\x9b");
    addEscaped("characters cut off", "\xc3\xe2\x82\xf0\x9f\x98");
    // NOLINTBEGIN(misc-misleading-bidirectional): the very characters
    for (const QByteArray &controls :
         {QByteArray("\u202a\u202b\u202c\u202d\u202e"), QByteArray("\u2066\u2067\u2068\u2069")})
        // NOLINTEND(misc-misleading-bidirectional)
        addEscaped("bidirectional controls " + controls.toHex(), controls);
    QTest::newRow("beside the bidirectional controls")
        << QByteArray("\u2029\u202f\u2065\u206a") << QByteArray("\u2029\u202f\u2065\u206a");
    QTest::newRow("after whole characters") << QByteArray("\xc3\x9b\x9b\xe2\x82\xac\x9b")
                                            << QByteArray("\xc3\x9b\\x9b\xe2\x82\xac\\x9b");
    QTest::newRow("in a character cut off")
        << QByteArray("\xe2\x82\xc3\x9f") << QByteArray("\\xe2\\x82\xc3\x9f");
    QTest::newRow("the ends of the ranges")
        << QByteArray("\xc2\xa0\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf\xf0\x90\x80"
                      "\x80\xf4\x8f\xbf\xbf")
        << QByteArray("\xc2\xa0\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf\xf0\x90\x80"
                      "\x80\xf4\x8f\xbf\xbf");
    QTest::newRow("one across two blocks") << filler + "\xc2\x9b 2J" << filler + "\\xc2\\x9b 2J";
    QTest::newRow("a character across two blocks")
        << filler + "\xc3\x9f 2026" << filler + "\xc3\x9f 2026";
    QTest::newRow("cut off at the end")
        << QByteArray("words\xe2\x82") << QByteArray("words\\xe2\\x82");
}

void TestLogReader::onATerminalControlCharactersAreShown()
{
    QFETCH(const QByteArray, text);
    QFETCH(const QByteArray, shown);
    // The log's own bytes are not the text's: they are left as they are.
    const QByteArray before("\x1b[1m\xc2");
    const QByteArray after("\x9b\x1b[0m\n");

    const Reading reading = m_reading.read(before + m_reading.key(1024).logText(text) + after, 1024,
                                           LogReader::PlainText::Printable);

    QCOMPARE(reading.output, before + shown + after);
    QCOMPARE(reading.read, 1);
}

void TestLogReader::onATerminalAControlCharacterIsShownAtOnce()
{
    QByteArray output;
    const auto reader = m_reading.reader(1024, &output, LogReader::PlainText::Printable);
    reader->feed(view(m_reading.key(1024).logText("words\n")));
    QCOMPARE(output, QByteArray(R"(words\x0a)"));
}

SYNCSTATUS_TEST(TestLogReader)
#include "tst_logreader.moc"
