// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef LOGREADER_H
#define LOGREADER_H

#include "blockdecryptor.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Puts plain text in place of the encrypted texts of a log, as the log arrives.
///
/// An encrypted text is the marker "LicenseLogEncryptSign" and, directly after it, one or more RSA
/// blocks in standard base64 with padding (RFC 4648). Each block is as long as the modulus. The
/// text can be anywhere in a line. It ends at the first byte that cannot belong to it, or where the
/// next marker begins. All other bytes are passed on unchanged.
///
/// A text that cannot be decrypted stays unchanged, in a mark with the reason:
///
///     [not decrypted (wrong key or damaged): LicenseLogEncryptSignTWFu...]
///     [not decrypted (cut off or wrong key): LicenseLogEncryptSignTWFu...]
///     the first block's text[not decrypted (cut off): TWFu...]
///
/// So the output can be read again with another key. If only some blocks of a text are damaged, the
/// others are decrypted and each gap is marked. Such a text counts as not read.
///
/// A marker with fewer than 64 characters of base64 after it is not an encrypted text: it is passed
/// on and not counted. (The block of a 512-bit key has 88.) So the word can be in a sentence, a
/// longer word or a path. The agent writes the bare marker for an empty text, and if it has no
/// usable key.
///
/// A text whose padding is missing is cut off, even if its last block is whole. Two cuts are not
/// noticed. One is within the first 64 characters. The other is at the end of a block that needs no
/// padding: each block of a 3072-bit key, each third block of other sizes.
///
/// Memory: a few blocks, however long the log, its lines and its encrypted texts are. It holds back
/// at most an encrypted block or the beginning of a marker until more arrives.
class LogReader
{
public:
    using Output = std::function<void(std::string_view)>;

    /// How plain text is written.
    enum class PlainText {
        Exact,     ///< unchanged
        Printable, ///< control characters except the tab, bidirectional controls (U+202A to U+202E
                   ///< and U+2066 to U+2069) and bytes that are not UTF-8 as \xHH, so that a text
                   ///< of unknown origin cannot control a UTF-8 terminal
    };

    /// Decrypts with \a key, like BlockDecryptor. feed() and finish() pass the output to \a output,
    /// in pieces of any size. A piece is valid until \a output returns.
    LogReader(EVP_PKEY *key, PlainText plainText, Output output);

    /// Takes the next bytes of the log, cut anywhere.
    void feed(std::string_view log);
    /// Ends the log, and writes what was held back. Another log may follow.
    void finish();

    /// See BlockDecryptor.
    bool knowsDamage() const { return m_decryptor.knowsDamage(); }

    /// The numbers of encrypted texts so far: completely read, and not.
    unsigned long long readCount() const { return m_readCount; }
    unsigned long long unreadCount() const { return m_unreadCount; }

private:
    void take(char c);
    void pass(std::string_view bytes);
    bool takeIntoText(char c);
    void endBlock();
    void endText();
    void write(std::string_view bytes);
    void writePlain(std::string_view bytes);
    void escapeCharacter();
    void openGap(const char *reason);
    void closeGap();

    BlockDecryptor m_decryptor;
    PlainText m_plainText;
    Output m_output;
    unsigned long long m_readCount = 0;
    unsigned long long m_unreadCount = 0;

    /// The last bytes, as many, were the beginning of a marker. They are held back.
    std::size_t m_matched = 0;

    /// The encrypted text at the present position.
    struct Text
    {
        std::vector<unsigned char> block; ///< the decoded part of the present block
        std::string characters;           ///< the base64 of that part
        std::size_t shared = 0;           ///< how many of these (0 or 1) the block before shares
        unsigned bits = 0;                ///< the last bitCount of these are not in the block yet
        int bitCount = 0;
        std::size_t length = 0;  ///< characters of base64 without padding
        std::size_t padding = 0; ///< characters of padding ("=")
        std::size_t blocks = 0;  ///< complete blocks so far
        bool gap = false;        ///< in a mark
        bool complete = true;    ///< no mark so far
        std::string character;   ///< the incomplete last character of the plain text, for
                                 ///< PlainText::Printable
    };
    std::optional<Text> m_text;
};

#endif
