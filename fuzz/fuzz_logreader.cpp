// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// LogReader on any log, cut into pieces of any size. Its output and its counts must be those of a
// plain implementation that has the whole log.
//
// The first byte of the input says how the log is cut and how plain text is written. In the rest,
// the byte 1 and the two after it are replaced by an encrypted text, whole, cut off or damaged. The
// fuzzer could not invent one.

#include "judge.h"

#include <QList>
#include <QString>
#include <QVector>

#include <logreader.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace {

// Made before main(), when no other code of the program runs.
// clazy:excludeall=non-pod-global-static
const QByteArray marker("LicenseLogEncryptSign");
const QByteArray alphabet("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");

QByteArray encrypted(EVP_PKEY *key, const QByteArray &text)
{
    EVP_PKEY_CTX *const context = EVP_PKEY_CTX_new(key, nullptr);
    QByteArray block(EVP_PKEY_size(key), '\0');
    auto size = std::size_t(block.size());
    require(EVP_PKEY_encrypt_init(context) > 0 &&
                EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) > 0 &&
                EVP_PKEY_encrypt(context, reinterpret_cast<uchar *>(block.data()), &size,
                                 reinterpret_cast<const uchar *>(text.constData()),
                                 std::size_t(text.size())) > 0,
            "OpenSSL encrypts");
    EVP_PKEY_CTX_free(context);
    return block;
}

/// Texts of one to four blocks, the last one for another key. Characters, also control characters,
/// continue from one block into the next.
QList<QByteArray> makeTexts(EVP_PKEY *own)
{
    const PrivateKey other = keyFromFile(OTHER_KEY);
    QList<QByteArray> texts;
    for (int blocks = 1; blocks <= 4; ++blocks) {
        QByteArray bytes;
        for (int i = 0; i < blocks; ++i)
            bytes += encrypted(blocks < 4 ? own : other.get(),
                               (i % 2 ? "\xac" : "\x9b") + QByteArray(20, char('a' + i)) +
                                   "\x1b\n\xc2\x9b\x80\x9b\xff\x9b\xed\xa0\x9b\xc3\x9b\x9b" +
                                   (i % 2 ? "\xc2" : "\xe2\x82"));
        texts += marker + bytes.toBase64();
    }
    return texts;
}

QByteArray expand(const QByteArray &input, const QList<QByteArray> &texts)
{
    QByteArray log;
    for (int i = 0; i < input.size(); ++i) {
        if (input.at(i) != 1 || i + 2 >= input.size()) {
            log += input.at(i);
            continue;
        }
        const unsigned which = uchar(input.at(++i));
        const unsigned how = uchar(input.at(++i));
        QByteArray text = texts.at(int(which) % texts.size());
        const int position = text.size() * int(how % 128) / 128;
        if (how >= 128)
            text[position] = alphabet.at((alphabet.indexOf(text.at(position)) + 1) % 64);
        else if (how > 0)
            text.truncate(position);
        log += text;
    }
    return log;
}

struct Reading
{
    QByteArray output;
    unsigned long long read = 0;
    unsigned long long unread = 0;
};

/// The bits of \a base64, whole bytes of them.
QByteArray bytesOf(const QByteArray &base64)
{
    return QByteArray::fromBase64(base64);
}

int paddingDue(int length)
{
    return length % 4 == 2 ? 2 : length % 4 == 3 ? 1 : 0;
}

/// Escapes each byte of \a text that is not part of a printable character. Qt must be able to
/// decode that, and control characters, bidirectional ones too, do not count as printable.
QByteArray printable(const QByteArray &text)
{
    QByteArray shown;
    for (int i = 0; i < text.size();) {
        int size = 4;
        for (; size > 0; --size) {
            // After another character, because Qt drops a byte order mark at the beginning.
            const QByteArray character = 'x' + text.mid(i, size);
            const QVector<uint> decoded = QString::fromUtf8(character).toUcs4();
            const auto isBidirectional = [](uint c) {
                return (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
            };
            if (decoded.size() == 2 && !isBidirectional(decoded[1]) &&
                QString::fromUcs4(decoded.data(), 2).toUtf8() == character &&
                (decoded[1] == '\t' || QChar::category(decoded[1]) != QChar::Other_Control))
                break;
        }
        if (size > 0)
            shown += text.mid(i, size);
        else
            shown += "\\x" + text.mid(i, 1).toHex();
        i += std::max(size, 1);
    }
    return shown;
}

/// Reads the encrypted text \a body \a padding, which follows its marker.
void replaceText(EVP_PKEY *key, LogReader::PlainText plainText, const QByteArray &body,
                 const QByteArray &padding, Reading *reading)
{
    const int blockSize = EVP_PKEY_size(key);
    const QByteArray bytes = bytesOf(body);
    const int blocks = bytes.size() / blockSize;
    if (blocks == 0 && body.size() < 64) {
        reading->output += marker + body + padding;
        return;
    }

    bool complete = true;
    QByteArray run;    // the plain text since the last gap
    int gapBegin = -1; // the first character of an open gap
    const auto endRun = [&] {
        reading->output += plainText == LogReader::PlainText::Exact ? run : printable(run);
        run.clear();
    };
    const auto openGap = [&](int block, const char *reason) {
        complete = false;
        endRun();
        if (gapBegin >= 0)
            return;
        gapBegin = 8 * blockSize * block / 6;
        reading->output += QByteArray("[not decrypted (") + reason + "): ";
        if (block == 0)
            reading->output += marker;
    };
    const auto closeGap = [&](const QByteArray &characters) {
        if (gapBegin >= 0)
            reading->output += characters.mid(gapBegin) + ']';
        gapBegin = -1;
    };
    for (int block = 0; block < blocks; ++block) {
        BlockDecryptor decryptor(key);
        const auto *const begin = bytes.constData() + std::ptrdiff_t(block) * blockSize;
        if (const auto plain = decryptor.decrypt(std::vector<uchar>(begin, begin + blockSize))) {
            closeGap(body.left((8 * blockSize * block + 5) / 6));
            run += QByteArray(plain->data(), int(plain->size()));
        } else {
            openGap(block, "wrong key or damaged");
        }
    }
    if (body.size() > (8 * blockSize * blocks + 5) / 6 || padding.size() < paddingDue(body.size()))
        openGap(blocks, blocks > 0 ? "cut off" : "cut off or wrong key");
    endRun();
    closeGap(body + padding);
    ++(complete ? reading->read : reading->unread);
}

Reading readWhole(EVP_PKEY *key, const QByteArray &log, LogReader::PlainText plainText)
{
    Reading reading;
    int position = 0;
    for (;;) {
        const int found = log.indexOf(marker, position);
        reading.output += log.mid(position, found < 0 ? -1 : found - position);
        if (found < 0)
            return reading;
        const int bodyBegin = found + marker.size();
        const int next = log.indexOf(marker, bodyBegin);
        const int limit = next < 0 ? log.size() : next;
        int bodyEnd = bodyBegin;
        while (bodyEnd < limit && alphabet.contains(log.at(bodyEnd)))
            ++bodyEnd;
        const int length = bodyEnd - bodyBegin;
        position = bodyEnd;
        while (position < bodyEnd + paddingDue(length) && position < log.size() &&
               log.at(position) == '=')
            ++position;
        replaceText(key, plainText, log.mid(bodyBegin, length),
                    log.mid(bodyEnd, position - bodyEnd), &reading);
    }
}

Reading readInPieces(EVP_PKEY *key, const QByteArray &log, int piece,
                     LogReader::PlainText plainText)
{
    Reading reading;
    LogReader reader(key, plainText, [&reading](std::string_view bytes) {
        reading.output.append(bytes.data(), int(bytes.size()));
    });
    for (int i = 0; i < log.size(); i += piece)
        reader.feed({log.constData() + i, std::size_t(qMin(piece, log.size() - i))});
    reader.finish();
    reading.read = reader.readCount();
    reading.unread = reader.unreadCount();
    return reading;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static const PrivateKey key = keyFromFile(OWN_KEY);
    static const QList<QByteArray> texts = makeTexts(key.get());
    if (size == 0)
        return 0;
    const QByteArray log =
        expand(QByteArray(reinterpret_cast<const char *>(bytes + 1), int(size - 1)), texts);
    const int piece = bytes[0] < 128 ? bytes[0] + 1 : log.size() + 1;

    for (const auto plainText : {LogReader::PlainText::Exact, LogReader::PlainText::Printable}) {
        const Reading expected = readWhole(key.get(), log, plainText);
        const Reading reading = readInPieces(key.get(), log, piece, plainText);
        require(reading.output == expected.output, "the same output");
        require(reading.read == expected.read && reading.unread == expected.unread,
                "the same counts");
    }
    return 0;
}
