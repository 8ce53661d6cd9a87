// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "opensslkey.h"

#include <QMap>
#include <QTemporaryDir>
#include <QTest>

#include <logreader.h>
#include <openssl/err.h>
#include <privatekey.h>

#include <string>
#include <string_view>

namespace {

const QByteArray marker = QByteArrayLiteral("LicenseLogEncryptSign");

std::string_view view(const QByteArray &bytes)
{
    return {bytes.constData(), size_t(bytes.size())};
}

struct Reading
{
    QByteArray output;
    int read;
    int unread;
};

/// Any bytes, the same on each run.
QByteArray someBytes(int size)
{
    QByteArray bytes;
    for (unsigned i = 0; bytes.size() < size; ++i)
        bytes += char((i * 2654435761U) >> 24);
    return bytes;
}

/// The characters of base64 that hold bits of block \a i: from the first on, and up to the second.
int firstCharacter(int blockSize, int i)
{
    return 8 * blockSize * i / 6;
}
int endCharacter(int blockSize, int i)
{
    return (8 * blockSize * (i + 1) + 5) / 6;
}

} // namespace

/// The reader without the program around it.
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
    void aTextWithoutItsPaddingIsCutOff();
    void paddingEndsTheText();
    void aTextForAnotherKeyStaysInAMark_data();
    void aTextForAnotherKeyStaysInAMark();
    void theMarkCanBeReadWithTheOtherKey();
    void aDamagedBlockIsMarkedAndTheOthersAreRead_data();
    void aDamagedBlockIsMarkedAndTheOthersAreRead();
    void aTextCutOffAnywhereIsMarked_data();
    void aTextCutOffAnywhereIsMarked();
    void aWholeTextWithMoreBase64BehindItIsCutOff();
    void eachLogEndsItsTexts();
    void aLineIsGivenWhenItHasCome();
    void noMoreThanABlockIsHeldBack_data();
    void noMoreThanABlockIsHeldBack();
    void onATerminalControlCharactersAreShown_data();
    void onATerminalControlCharactersAreShown();
    void onATerminalAControlCharacterIsShownAtOnce();
    void aCharacterDoesNotGoOnAfterAGap();

private:
    Reading readAs(LogReader::PlainText plainText, const QByteArray &log, int bits);
    Reading read(const QByteArray &log, int bits = 1024)
    {
        return readAs(LogReader::PlainText::Exact, log, bits);
    }

    OpensslProgram m_openssl;
    QTemporaryDir m_folder;
    QMap<int, OpensslKey> m_keys;
    std::map<int, PrivateKey> m_privateKeys;
};

// Blocks of 128, 256 and 384 bytes: base64 ends with "=", with "==" and without padding, and each
// block begins at another place within four characters.
void TestLogReader::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program");
    QVERIFY(m_folder.isValid());
    for (const int bits : {1024, 2048, 3072}) {
        m_keys[bits] = OpensslKey(&m_openssl, m_folder.path(), bits);
        std::string error;
        m_privateKeys[bits] = readPrivateKey(m_keys[bits].file().toStdString(), &error);
        QVERIFY2(m_privateKeys[bits], error.c_str());
    }
}

void TestLogReader::cleanup()
{
    QCOMPARE(ERR_peek_error(), 0UL);
}

// Reads the log however it is cut, and holds that this makes no difference.
Reading TestLogReader::readAs(LogReader::PlainText plainText, const QByteArray &log, int bits)
{
    Reading first{{}, -1, -1};
    for (const int piece : {log.size() + 1, 1, 2, 20, 21, 22, 64, 1000}) {
        QByteArray output;
        LogReader reader(m_privateKeys[bits].get(), plainText, [&](std::string_view bytes) {
            output.append(bytes.data(), int(bytes.size()));
        });
        for (int i = 0; i < log.size(); i += piece)
            reader.feed(view(log.mid(i, piece)));
        reader.finish();

        const Reading reading{output, int(reader.readCount()), int(reader.unreadCount())};
        if (first.read < 0)
            first = reading;
        if (reading.output != first.output || reading.read != first.read ||
            reading.unread != first.unread) {
            QTest::qFail(qPrintable(QStringLiteral("another result when cut into %1").arg(piece)),
                         __FILE__, __LINE__);
            return {};
        }
    }
    return first;
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
    const Reading reading = read(log);
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
    for (const OpensslKey &key : qAsConst(m_keys)) {
        const Reading reading = read(before +
                                         key.logText("Gr\xc3\xbc\xc3\x9f"
                                                     "e") +
                                         after,
                                     8 * key.blockSize());
        QCOMPARE(reading.output, before +
                                     "Gr\xc3\xbc\xc3\x9f"
                                     "e" +
                                     after);
        QCOMPARE(reading.read, 1);
        QCOMPARE(reading.unread, 0);
    }
}

void TestLogReader::textsOfEveryLengthAreRead_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("length");

    for (const OpensslKey &key : qAsConst(m_keys)) {
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

    const Reading reading = read("<" + m_keys[bits].logText(text) + ">", bits);

    QCOMPARE(reading.output, "<" + text + ">");
    QCOMPARE(reading.read, 1);
    QCOMPARE(reading.unread, 0);
}

void TestLogReader::textsMayFollowEachOtherDirectly_data()
{
    QTest::addColumn<int>("bits");
    for (const OpensslKey &key : qAsConst(m_keys))
        QTest::addRow("%d bits", 8 * key.blockSize()) << 8 * key.blockSize();
}

void TestLogReader::textsMayFollowEachOtherDirectly()
{
    QFETCH(const int, bits);
    const OpensslKey &key = m_keys[bits];

    const Reading reading =
        read(key.logText("one") + key.logText("two") + marker + key.logText("three"), bits);

    QCOMPARE(reading.output, "onetwo" + marker + "three");
    QCOMPARE(reading.read, 3);
    QCOMPARE(reading.unread, 0);
}

void TestLogReader::plainTextIsNotReadAgain()
{
    const QByteArray inner = m_keys[1024].logText("inner");
    const Reading reading = read(m_keys[1024].logText(inner));
    QCOMPARE(reading.output, inner);
    QCOMPARE(reading.read, 1);
}

void TestLogReader::plainTextOfAnyBytesIsExact()
{
    const QByteArray text = QByteArray("a\0\n\r\x1b[31m\x7f\xc2\x9b\xff", 14) + someBytes(1000);
    QCOMPARE(read(m_keys[2048].logText(text), 2048).output, text);
}

void TestLogReader::aTextWithoutItsPaddingIsCutOff()
{
    QByteArray text = m_keys[2048].logText("words");
    QVERIFY(text.endsWith("=="));
    const QByteArray last = text.mid(text.size() - 3, 1);
    for (const QByteArray &left : {last + "=", last}) {
        text.chop(1);
        const Reading reading = read(text + "\n", 2048);
        QCOMPARE(reading.output, "words[not decrypted (cut off): " + left + "]\n");
        QCOMPARE(reading.read, 0);
        QCOMPARE(reading.unread, 1);
    }
    // In the mark of a last block that cannot be read, as it stood.
    text[40] = text.at(40) == 'A' ? 'B' : 'A';
    QCOMPARE(read(text + "\n", 2048).output,
             "[not decrypted (wrong key or damaged): " + text + "]\n");
}

void TestLogReader::paddingEndsTheText()
{
    for (const OpensslKey &key : qAsConst(m_keys)) {
        const Reading reading = read(key.logText("words") + "==\n", 8 * key.blockSize());
        QCOMPARE(reading.output, QByteArray("words==\n"));
        QCOMPARE(reading.read, 1);
    }
    for (const int bits : {1024, 2048}) {
        const Reading reading = read(m_keys[bits].logText("words") + "more\n", bits);
        QCOMPARE(reading.output, QByteArray("wordsmore\n"));
        QCOMPARE(reading.read, 1);
    }
}

void TestLogReader::aTextForAnotherKeyStaysInAMark_data()
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

void TestLogReader::aTextForAnotherKeyStaysInAMark()
{
    QFETCH(const int, bits);
    QFETCH(const int, length);
    QFETCH(const QByteArray, reason);
    // Not of the test's own pairs.
    OpensslProgram openssl;
    QTemporaryDir folder;
    const QByteArray text = OpensslKey(&openssl, folder.path(), bits).logText(someBytes(length));

    const Reading reading = read("a \"" + text + "\" b\n");

    QCOMPARE(reading.output, "a \"[not decrypted (" + reason + "): " + text + "]\" b\n");
    QCOMPARE(reading.read, 0);
    QCOMPARE(reading.unread, 1);
}

void TestLogReader::theMarkCanBeReadWithTheOtherKey()
{
    const QByteArray log =
        m_keys[1024].logText("one") + " " + m_keys[3072].logText(someBytes(1000)) + "\n";
    const Reading reading = read(read(log, 1024).output, 3072);
    QCOMPARE(reading.output,
             "one [not decrypted (wrong key or damaged): " + someBytes(1000) + "]\n");
    QCOMPARE(reading.read, 1);
}

void TestLogReader::aDamagedBlockIsMarkedAndTheOthersAreRead_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");

    for (const OpensslKey &key : qAsConst(m_keys)) {
        const int bits = 8 * key.blockSize();
        QTest::addRow("%d bits, the first", bits) << bits << 0 << 0;
        QTest::addRow("%d bits, in the middle", bits) << bits << 1 << 1;
        QTest::addRow("%d bits, two in the middle", bits) << bits << 1 << 2;
        QTest::addRow("%d bits, the last", bits) << bits << 3 << 3;
    }
}

void TestLogReader::aDamagedBlockIsMarkedAndTheOthersAreRead()
{
    QFETCH(const int, bits);
    QFETCH(const int, first);
    QFETCH(const int, last);
    const OpensslKey &key = m_keys[bits];
    const QByteArray text = someBytes(3 * key.textPerBlock() + 5);
    QByteArray blocks = key.encrypt(text);
    for (int i = first; i <= last; ++i)
        blocks[i * key.blockSize() + 60] = char(blocks[i * key.blockSize() + 60] ^ 1);
    const QByteArray base64 = blocks.toBase64();

    const Reading reading = read("<" + marker + base64 + ">", bits);

    // What is left in the mark is the log's own characters.
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

void TestLogReader::aTextCutOffAnywhereIsMarked_data()
{
    textsMayFollowEachOtherDirectly_data();
}

void TestLogReader::aTextCutOffAnywhereIsMarked()
{
    QFETCH(const int, bits);
    const OpensslKey &key = m_keys[bits];
    const QByteArray text = someBytes(key.textPerBlock() + 3);
    const QByteArray base64 = key.encrypt(text).toBase64();
    const int firstBlock = endCharacter(key.blockSize(), 0);
    const int secondBlock = firstCharacter(key.blockSize(), 1);
    const int bothBlocks = endCharacter(key.blockSize(), 1);

    for (int length = 0; length < base64.size(); ++length) {
        // Everywhere with the smallest key; with the others, which take longer, above all at the
        // ends of the blocks.
        if (bits > 1024 && length % 16 && qAbs(length - firstBlock) > 5 &&
            qAbs(length - bothBlocks) > 5)
            continue;
        QByteArray output;
        LogReader reader(
            m_privateKeys[bits].get(), LogReader::PlainText::Exact,
            [&](std::string_view bytes) { output.append(bytes.data(), int(bytes.size())); });
        reader.feed(view(marker + base64.left(length) + "\n"));
        reader.finish();

        QByteArray expected;
        if (length < 64)
            expected = marker + base64.left(length);
        else if (length < firstBlock)
            expected =
                "[not decrypted (cut off or wrong key): " + marker + base64.left(length) + "]";
        else if (length < bothBlocks)
            expected = text.left(key.textPerBlock());
        else
            expected = text;
        // At a block's end the cut shows only where padding is due.
        const bool whole = length == firstBlock && length % 4 == 0;
        if (length >= firstBlock && !whole) {
            const int rest = length < bothBlocks ? secondBlock : firstCharacter(key.blockSize(), 2);
            expected += "[not decrypted (cut off): " + base64.mid(rest, length - rest) + "]";
        }
        QCOMPARE(output, expected + "\n");
        QCOMPARE(reader.readCount(), whole ? 1ULL : 0ULL);
        QCOMPARE(reader.unreadCount(), whole || length < 64 ? 0ULL : 1ULL);
    }
}

void TestLogReader::aWholeTextWithMoreBase64BehindItIsCutOff()
{
    const Reading reading = read(m_keys[3072].logText("words") + "more", 3072);
    QCOMPARE(reading.output, QByteArray("words[not decrypted (cut off): more]"));
    QCOMPARE(reading.unread, 1);
}

void TestLogReader::eachLogEndsItsTexts()
{
    QByteArray output;
    LogReader reader(
        m_privateKeys[1024].get(), LogReader::PlainText::Exact,
        [&](std::string_view bytes) { output.append(bytes.data(), int(bytes.size())); });
    const QByteArray text = m_keys[1024].logText("words");

    reader.feed(view(text.left(100)));
    reader.finish();
    reader.feed(view(text.mid(100)));
    reader.finish();
    reader.feed("LicenseLogEncrypt");
    reader.finish();
    reader.feed(view("Sign" + text));
    reader.finish();

    QCOMPARE(output, "[not decrypted (cut off or wrong key): " + text.left(100) + "]" +
                         text.mid(100) + "LicenseLogEncryptSignwords");
    QCOMPARE(reader.readCount(), 1ULL);
    QCOMPARE(reader.unreadCount(), 1ULL);
}

void TestLogReader::aLineIsGivenWhenItHasCome()
{
    QByteArray output;
    LogReader reader(
        m_privateKeys[1024].get(), LogReader::PlainText::Exact,
        [&](std::string_view bytes) { output.append(bytes.data(), int(bytes.size())); });
    const QByteArray text = m_keys[1024].logText("words");
    QByteArray expected;
    for (const QByteArray &line :
         {QByteArray("plain\n"), "user " + text + "\n", text + text.left(100) + " \n",
          QByteArray("License\n"), marker + "\n"}) {
        reader.feed(view(line));
        expected += read(line).output;
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
    const int mostHeldBack = 2 * marker.size() + (8 * m_keys[1024].blockSize() + 5) / 6;
    int given = 0;
    LogReader reader(m_privateKeys[1024].get(), LogReader::PlainText::Exact,
                     [&](std::string_view bytes) { given += int(bytes.size()); });
    for (int i = 0; i < log.size(); ++i) {
        reader.feed(view(log.mid(i, 1)));
        QVERIFY2(given >= i + 1 - mostHeldBack, qPrintable(QString::number(i)));
    }
}

void TestLogReader::onATerminalControlCharactersAreShown_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("shown");

    const int block = m_keys[1024].textPerBlock();
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
    // NOLINTNEXTLINE(misc-misleading-bidirectional): the very characters
    for (const QByteArray controls : {"\u202a\u202b\u202c\u202d\u202e", "\u2066\u2067\u2068\u2069"})
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

    const Reading reading =
        readAs(LogReader::PlainText::Printable, before + m_keys[1024].logText(text) + after, 1024);

    QCOMPARE(reading.output, before + shown + after);
    QCOMPARE(reading.read, 1);
}

void TestLogReader::onATerminalAControlCharacterIsShownAtOnce()
{
    QByteArray output;
    LogReader reader(
        m_privateKeys[1024].get(), LogReader::PlainText::Printable,
        [&](std::string_view bytes) { output.append(bytes.data(), int(bytes.size())); });
    reader.feed(view(m_keys[1024].logText("words\n")));
    QCOMPARE(output, QByteArray(R"(words\x0a)"));
}

void TestLogReader::aCharacterDoesNotGoOnAfterAGap()
{
    const OpensslKey &key = m_keys[3072];
    const QByteArray text = QByteArray(key.textPerBlock() - 1, 'x') + "\xc3" +
                            QByteArray(key.textPerBlock(), 'y') + "\x9bz";
    QByteArray blocks = key.encrypt(text);
    blocks[key.blockSize() + 60] = char(blocks[key.blockSize() + 60] ^ 1);

    const Reading reading =
        readAs(LogReader::PlainText::Printable, marker + blocks.toBase64(), 3072);

    QCOMPARE(reading.output, QByteArray(key.textPerBlock() - 1, 'x') +
                                 "\\xc3[not decrypted (wrong key or damaged): " +
                                 blocks.mid(key.blockSize(), key.blockSize()).toBase64() +
                                 "]\\x9bz");
}

QTEST_GUILESS_MAIN(TestLogReader)

#include "tst_logreader.moc"
