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
/// An encrypted text is the marker "LicenseLogEncryptSign" and, directly after it, standard base64
/// (RFC 4648, with padding) of one or more RSA blocks, each as long as the key's modulus. It may
/// stand anywhere in a line and ends at the first byte that cannot belong to it, or where the next
/// marker begins. Everything else is passed on untouched, whatever bytes it is made of.
///
/// What cannot be decrypted stays, as it stood, within a mark that gives the reason:
///
///     [not decrypted (wrong key or damaged): LicenseLogEncryptSignTWFu...]
///     [not decrypted (cut off or wrong key): LicenseLogEncryptSignTWFu...]
///     the first block's text[not decrypted (cut off): TWFu...]
///
/// so the output can be read again, with another key. When only some blocks of a text are damaged,
/// the text of the others is given and each gap is marked; such a text counts as not read.
///
/// A marker with fewer than 64 characters of base64 after it is not taken for an encrypted text: it
/// is passed on and not counted. (The block of a 512-bit key takes 88.) So the word may be in a
/// sentence, a longer word or a path. The agent writes the bare marker for an empty text, and when
/// it has no usable key.
///
/// A text whose padding is missing is cut off, even if its last block is whole. Two cuts are not
/// noticed. One is within the first 64 characters. The other is at the end of a block where no
/// padding is due: each block of a 3072-bit key, each third block of other sizes.
///
/// Memory: a few blocks, however long the log, its lines and its encrypted texts are. What is held
/// back until more arrives is never more than an encrypted block or the beginning of a marker.
class LogReader
{
public:
    using Output = std::function<void(std::string_view)>;

    /// How plain text is given.
    enum class PlainText {
        Exact,     ///< byte for byte
        Printable, ///< control characters but the tab, bidirectional controls (U+202A to U+202E
                   ///< and U+2066 to U+2069) and bytes that are not UTF-8 as \xHH, so that a text
                   ///< of unknown origin does nothing to a terminal, which takes UTF-8
    };

    /// The reader decrypts with \a key, as BlockDecryptor says, and gives its output in pieces of
    /// any size to \a output from within feed() and finish(). The pieces are good until it returns.
    LogReader(EVP_PKEY *key, PlainText plainText, Output output);

    /// Takes the next bytes of the log, cut anywhere.
    void feed(std::string_view log);
    /// Takes the end of the log: what was held back is given out. Another log may follow.
    void finish();

    /// See BlockDecryptor.
    bool knowsDamage() const { return m_decryptor.knowsDamage(); }

    /// The encrypted texts so far that were read whole, and those that were not.
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

    /// As many bytes from the beginning of a marker have come last; they are held back.
    std::size_t m_matched = 0;

    /// The encrypted text that is being taken.
    struct Text
    {
        std::vector<unsigned char> block; ///< what has been decoded of the block
        std::string characters;           ///< the base64 that the block is decoded from
        std::size_t shared = 0; ///< how many of these (0 or 1) the block before had its end in
        unsigned bits = 0;      ///< the last bitCount of these are not in the block yet
        int bitCount = 0;
        std::size_t length = 0;  ///< of the base64 without its padding
        std::size_t padding = 0; ///< the "=" at its end
        std::size_t blocks = 0;  ///< whole blocks so far
        bool gap = false;        ///< in a mark
        bool complete = true;    ///< no mark so far
        std::string character;   ///< of its plain text, as long as more bytes of it may come; for
                                 ///< PlainText::Printable
    };
    std::optional<Text> m_text;
};

#endif
