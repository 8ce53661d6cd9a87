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

/// The failure table of Knuth, Morris and Pratt. For each prefix length of the marker: the length
/// of the longest shorter prefix that this prefix ends with.
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

/// The six bits of a base64 character, or -1.
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

/// How many "=" follow \a length characters of base64. (Whole bytes never give one character more
/// than a multiple of four.)
std::size_t paddingDue(std::size_t length)
{
    return length % 4 >= 2 ? 4 - length % 4 : 0;
}

enum class Utf8State { Bad, Begun, Whole };

/// Whether \a bytes, at least one, are a printable character in UTF-8 (The Unicode Standard, table
/// 3-7), or the beginning of one. The tab counts as printable; other control characters and the
/// bidirectional controls do not.
Utf8State utf8State(std::string_view bytes)
{
    const auto byte = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80)
        return (lead >= 0x20 && lead != 0x7f) || lead == '\t' ? Utf8State::Whole : Utf8State::Bad;
    if (lead < 0xc2 || lead > 0xf4)
        return Utf8State::Bad;
    if (bytes.size() > 1) {
        // These limits exclude the control characters U+0080 to U+009F (0xc2), overlong forms (0xe0
        // and 0xf0), surrogates (0xed) and everything above U+10FFFF (0xf4).
        const unsigned low = lead == 0xc2 || lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
        const unsigned high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
        if (byte(1) < low || byte(1) > high)
            return Utf8State::Bad;
    }
    for (std::size_t i = 2; i < bytes.size(); ++i) {
        if (byte(i) < 0x80 || byte(i) > 0xbf)
            return Utf8State::Bad;
    }
    // U+202A to U+202E and U+2066 to U+2069 reorder what a person reads.
    if (bytes.size() == 3 && lead == 0xe2 &&
        ((byte(1) == 0x80 && byte(2) >= 0xaa && byte(2) <= 0xae) ||
         (byte(1) == 0x81 && byte(2) >= 0xa6 && byte(2) <= 0xa9)))
        return Utf8State::Bad;
    const std::size_t size = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    return bytes.size() < size ? Utf8State::Begun : Utf8State::Whole;
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
            // If there is no marker, the last bytes can still be the beginning of one.
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

// Takes bytes that do not belong to a marker.
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
    escapeCharacter();
    const Text &text = *m_text;
    if (text.blocks == 0 && text.length < shortestText) {
        write(marker);
        write(text.characters);
    } else {
        // If only padding is left, it belongs to the block before it. It must be complete.
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

// The mark of a gap at the beginning of a text includes the marker.
void LogReader::openGap(const char *reason)
{
    Text &text = *m_text;
    escapeCharacter();
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
    std::string &character = m_text->character;
    for (const char c : bytes) {
        character += c;
        // A byte that does not continue a character may begin the next one.
        if (character.size() > 1 && utf8State(character) == Utf8State::Bad) {
            character.pop_back();
            escapeCharacter();
            character += c;
        }
        const Utf8State state = utf8State(character);
        if (state == Utf8State::Bad) {
            escapeCharacter();
        } else if (state == Utf8State::Whole) {
            write(character);
            character.clear();
        }
    }
}

void LogReader::escapeCharacter()
{
    static constexpr char digits[] = "0123456789abcdef";
    for (const char c : m_text->character) {
        const auto byte = static_cast<unsigned char>(c);
        const std::array<char, 4> escape{'\\', 'x', digits[byte >> 4], digits[byte & 0xf]};
        write(std::string_view(escape.data(), escape.size()));
    }
    m_text->character.clear();
}

void LogReader::write(std::string_view bytes)
{
    if (!bytes.empty())
        m_output(bytes);
}
