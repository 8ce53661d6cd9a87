// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef RSACRYPT_H
#define RSACRYPT_H

#include <syncstatus/syncstatus_export.h>

#include <QByteArray>

namespace logEncryption {

/// RSA for text that goes into a log but is not for everyone who reads the log.
///
/// logEncryptToBase64() is what callers need; the other operations are its parts and their
/// counterparts.
///
/// **Blocks.** Padding is PKCS#1 v1.5 (RFC 8017, section 7.2), K stands for the length of the key's
/// modulus in bytes (256 for 2048 bits). A block of ciphertext is K bytes and carries up to K - 11
/// bytes of text. There is no hybrid scheme: a long text is many blocks, each encrypted by itself.
/// Nothing tells a reader that a block has been cut off at the end, exchanged, repeated or left
/// out, and whoever has the public key can make blocks of his own.
///
/// **Keys** are PEM text. A public key is read as a PKCS#1 RSAPublicKey when its text holds
/// "BEGIN RSA PUBLIC KEY" anywhere, be it in a comment outside the armour, and as an X.509
/// SubjectPublicKeyInfo ("BEGIN PUBLIC KEY") otherwise. A private key may be PKCS#1 ("BEGIN RSA
/// PRIVATE KEY") or PKCS#8 ("BEGIN PRIVATE KEY"). Any length that OpenSSL takes will do, also one
/// too short to protect anything, and what the key says it is meant for is not looked at: an
/// RSA-PSS key that OpenSSL's readers take, as those of 3 do, works like any other. Keys are parsed
/// anew by every call and never kept.
///
/// **Passphrases.** rsaPrivateKeyDecrypt() refuses every key text that contains "BEGIN ENCRYPTED
/// PRIVATE KEY" or "Proc-Type: 4,ENCRYPTED", so OpenSSL asks nobody for a passphrase. Key text is
/// trusted input: OpenSSL asks on the terminal for a public key with such a header.
///
/// **Failure** is an empty result. Nothing is logged, and the cause is not told. Every operation
/// leaves the calling thread's OpenSSL error queue empty, whatever was in it before.
///
/// **Lengths** are 32-bit signed integers. Decryption takes whatever a QByteArray holds. Encryption
/// yields nothing when its result would pass 2 147 483 615 bytes (2^31 - 33, about what a
/// QByteArray of Qt 5 holds). With a 2048-bit key, which makes 256 bytes of each 245, that is a
/// text of more than 2 055 208 715 bytes; for logEncryptToBase64(), where the marker and the base64
/// (4 bytes for each 3) must fit as well, one of more than 1 541 406 475. With K bytes of modulus
/// the figures are (K - 11) * floor(2147483615 / K) and (K - 11) * floor(1610612694 / K). Long
/// before that the time matters: see Blocking.
///
/// **Threads.** All operations may be called from any thread, several at once.
///
/// **Blocking.** They compute and do nothing else. With a 2048-bit key a block takes OpenSSL 3 on a
/// machine of 2020 some 0.02 ms to encrypt and some 0.5 ms to decrypt (`openssl speed rsa2048`
/// tells for yours).
///
/// **The host** brings libcrypto, 1.1 or 3: the library is not linked to it and finds its functions
/// in the process when they are first called. A process without it can load the library but not
/// call these operations: the dynamic loader ends it with a message ("symbol lookup error").
class SYNCSTATUS_EXPORT RsaCrypt
{
public:
    RsaCrypt() = delete;

    /// Encrypts \a data, any bytes, with the public key \a publicKeyPem and returns the blocks one
    /// after another: one for each started run of K - 11 bytes. The padding is random, so the same
    /// text never gives the same ciphertext twice.
    ///
    /// Empty when \a data is empty or too long, and when the key's text holds neither of the two
    /// markers or cannot be read. A block that OpenSSL refuses is left out silently, and the others
    /// stand.
    static QByteArray rsaPublicKeyEncrypt(const QByteArray &data,
                                          const QByteArray &publicKeyPem) noexcept;

    /// Decrypts \a data, blocks as rsaPublicKeyEncrypt() makes them, with the private key
    /// \a privateKeyPem and returns their texts joined without a gap. Empty when \a data is empty
    /// or the key cannot be read.
    ///
    /// A block that OpenSSL refuses, damaged or cut short at the end, is left out silently, and the
    /// others stand.
    ///
    /// **What a damaged block gives depends on OpenSSL.** From 3.2 on, and in older releases to
    /// which a distribution has brought it back, a block whose padding is wrong is not refused:
    /// OpenSSL returns 0 to K - 11 bytes of noise in its place, so that nobody can learn a secret
    /// by watching which blocks are refused ("implicit rejection"). The noise is the same each time
    /// for one block and key. This operation cannot tell it from text and returns it. Only a block
    /// whose number is not less than the modulus is refused as before. Whoever reads logs must
    /// therefore expect noise for text that was damaged, cut off, or encrypted with another key; a
    /// program that has to tell can decrypt through EVP_PKEY_decrypt() with the parameter
    /// "implicit-rejection" set to 0, `openssl pkeyutl` with
    /// `-pkeyopt rsa_pkcs1_implicit_rejection:0`.
    static QByteArray rsaPrivateKeyDecrypt(const QByteArray &data,
                                           const QByteArray &privateKeyPem) noexcept;

    /// Recovers what the holder of the private key put into \a data with the private-key operation
    /// (RSA_private_encrypt(), `openssl pkeyutl -sign` without a digest), with the public key
    /// \a publicKeyPem. One block and no more: unlike the two operations above this one does not
    /// cut its input.
    ///
    /// Empty when \a data is not one good block of at most K bytes or the key cannot be read. Key
    /// text with neither marker is handed to OpenSSL all the same.
    static QByteArray rsaPublicKeyDecrypt(const QByteArray &data,
                                          const QByteArray &publicKeyPem) noexcept;

    /// Turns \a text into encrypted log text: the 21 bytes "LicenseLogEncryptSign" and right behind
    /// them, on one line, the standard base64 (RFC 4648, "+" and "/", padded with "=") of \a text
    /// encrypted with the library's own public key. Convert a string with QString::toLocal8Bit()
    /// first. To read it back, drop the marker, decode the base64 and pass the rest to
    /// rsaPrivateKeyDecrypt(), or let syncstatus-logread do it.
    ///
    /// The library carries its key in three pieces that the host's
    /// SecretkeySplit::recoverSecretKey() joins, by every call anew.
    ///
    /// Always returns the marker. It stands alone when \a text is empty or too long, and when the
    /// pieces do not join to a public key: the text is lost then, never shown.
    static QByteArray logEncryptToBase64(const QByteArray &text) noexcept;
};

} // namespace logEncryption

#endif
