// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "logreader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace {

constexpr std::string_view marker = "LicenseLogEncryptSign";
constexpr std::size_t shortestText = 64;

/// For each length of a beginning of the marker, the length of the longest shorter beginning that
/// it ends with (Knuth, Morris and Pratt).
constexpr auto borders = [] {
    std::array<std::size_t, marker.size()> border{};
    for (std::size_t length = 2; length < marker.size(); ++length) {
        std::size_t candidate = border[length - 1];
        while (candidate > 0 && marker[candidate] != marker[length - 1])
            candidate = border[candidate];
        border[length] = marker[candidate] == marker[length - 1] ? candidate + 1 : 0;
    }
    return border;
}();

/// The six bits that a character of base64 stands for, or -1.
int base64Value(char c)
{
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '+')
        return 62;
    return c == '/' ? 63 : -1;
}

/// How many "=" base64 of \a length characters ends with. (One more than a multiple of four is no
/// length that whole bytes have.)
std::size_t paddingDue(std::size_t length)
{
    return length % 4 >= 2 ? 4 - length % 4 : 0;
}

} // namespace

LogReader::LogReader(EVP_PKEY *key, PlainText plainText, Output output)
    : m_decryptor(key), m_plainText(plainText), m_output(std::move(output))
{
}

void LogReader::feed(std::string_view log)
{
    while (!log.empty()) {
        if (!m_text && m_matched == 0) {
            const auto *const found = static_cast<const char *>(
                memmem(log.data(), log.size(), marker.data(), marker.size()));
            // Without a whole marker there may still be the beginning of one in the last bytes.
            const std::size_t skip = found ? static_cast<std::size_t>(found - log.data())
                                           : log.size() - std::min(log.size(), marker.size() - 1);
            write(log.substr(0, skip));
            log.remove_prefix(skip);
            if (found) {
                log.remove_prefix(marker.size());
                m_text = Text();
                continue;
            }
        }
        take(log.front());
        log.remove_prefix(1);
    }
}

void LogReader::finish()
{
    pass(marker.substr(0, std::exchange(m_matched, 0)));
    if (m_text)
        endText();
}

void LogReader::take(char c)
{
    while (m_matched > 0 && marker[m_matched] != c) {
        const std::size_t keep = borders[m_matched];
        pass(marker.substr(0, m_matched - keep));
        m_matched = keep;
    }
    if (marker[m_matched] != c) {
        pass(std::string_view(&c, 1));
    } else if (++m_matched == marker.size()) {
        m_matched = 0;
        if (m_text)
            endText();
        m_text = Text();
    }
}

// Takes bytes that are known not to belong to a marker.
void LogReader::pass(std::string_view bytes)
{
    for (; !bytes.empty() && m_text; bytes.remove_prefix(1)) {
        if (!takeIntoText(bytes.front())) {
            endText();
            break;
        }
    }
    write(bytes);
}

bool LogReader::takeIntoText(char c)
{
    Text &text = *m_text;
    const int value = base64Value(c);
    if (value >= 0 && text.padding == 0) {
        text.characters += c;
        ++text.length;
        text.bits = (text.bits << 6 | static_cast<unsigned>(value)) & 0xffff;
        text.bitCount += 6;
        if (text.bitCount >= 8) {
            text.bitCount -= 8;
            text.block.push_back(static_cast<unsigned char>(text.bits >> text.bitCount));
            if (text.block.size() == m_decryptor.blockSize())
                endBlock();
        }
        return true;
    }
    if (c == '=' && text.padding < paddingDue(text.length)) {
        text.characters += c;
        ++text.padding;
        return true;
    }
    return false;
}

void LogReader::endBlock()
{
    Text &text = *m_text;
    if (const auto plain = m_decryptor.decrypt(text.block)) {
        closeGap();
        writePlain(*plain);
    } else {
        openGap("wrong key or damaged");
    }
    text.block.clear();
    ++text.blocks;
    text.shared = text.bitCount > 0 ? 1 : 0;
    text.characters.erase(0, text.characters.size() - text.shared);
}

void LogReader::endText()
{
    const Text &text = *m_text;
    if (text.blocks == 0 && text.length < shortestText) {
        write(marker);
        write(text.characters);
    } else {
        // Padding alone belongs to the block before it, and it must be whole.
        if (text.characters.size() > text.shared + text.padding ||
            text.padding < paddingDue(text.length))
            openGap(text.blocks > 0 ? "cut off" : "cut off or wrong key");
        else if (text.gap)
            write(std::string_view(text.characters).substr(text.shared));
        closeGap();
        ++(text.complete ? m_readCount : m_unreadCount);
    }
    m_text.reset();
}

// A gap begins with the marker when it does so in the log.
void LogReader::openGap(const char *reason)
{
    Text &text = *m_text;
    text.complete = false;
    if (std::exchange(text.gap, true)) {
        write(std::string_view(text.characters).substr(text.shared));
        return;
    }
    write("[not decrypted (");
    write(reason);
    write("): ");
    if (text.blocks == 0)
        write(marker);
    write(text.characters);
}

void LogReader::closeGap()
{
    if (std::exchange(m_text->gap, false))
        write("]");
}

void LogReader::writePlain(std::string_view bytes)
{
    if (m_plainText == PlainText::Exact) {
        write(bytes);
        return;
    }
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        // Between 0x80 and 0x9f are control characters, by themselves or in UTF-8 after 0xc2, but
        // also the further bytes of other characters.
        const bool insideCharacter = m_text->lastPlain >= 0x80 && m_text->lastPlain != 0xc2;
        if ((byte < 0x20 && c != '\t') || byte == 0x7f ||
            (byte >= 0x80 && byte <= 0x9f && !insideCharacter)) {
            static constexpr char digits[] = "0123456789abcdef";
            const std::array<char, 4> escape{'\\', 'x', digits[byte >> 4], digits[byte & 0xf]};
            write(std::string_view(escape.data(), escape.size()));
        } else {
            write(std::string_view(&c, 1));
        }
        m_text->lastPlain = byte;
    }
}

void LogReader::write(std::string_view bytes)
{
    if (!bytes.empty())
        m_output(bytes);
}
