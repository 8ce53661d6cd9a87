// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef RSACRYPT_H
#define RSACRYPT_H

#include <syncstatus/syncstatus_export.h>

#include <QByteArray>

namespace logEncryption {

/// Encrypts text for log lines with RSA, so that only the holder of a private key can read it. Most
/// callers need logEncryptToBase64() only.
///
/// \code
/// const QString user = "Ada";
/// qInfo().noquote() << "login of" << RsaCrypt::logEncryptToBase64(user.toLocal8Bit());
/// \endcode
///
/// - Threads: any, several at once. Each call empties its thread's OpenSSL error queue.
/// - Blocking: computes only. A 2048-bit block takes some 0.02 ms to encrypt, 0.5 ms to decrypt.
/// - Failure: an empty result, without a reason.
/// - Logging: none.
///
/// K is the length of the key's modulus in bytes, 256 for 2048 bits. A block of ciphertext has K
/// bytes and carries up to K - 11 bytes of text, with PKCS#1 v1.5 padding. Nothing protects the
/// order or the number of blocks.
///
/// Keys are RSA keys of any length, as trusted PEM text without a passphrase. A public key is
/// PKCS#1 or X.509, a private key PKCS#1 or PKCS#8. A public key's text that holds "BEGIN RSA
/// PUBLIC KEY" anywhere is read as PKCS#1.
///
/// **The host brings libcrypto**, 1.1 or 3. Without it the first call ends the process. Long texts
/// and damaged blocks: docs/encrypted-log-text.md.
class SYNCSTATUS_EXPORT RsaCrypt
{
public:
    RsaCrypt() = delete;

    /// Encrypts \a data, any bytes, with \a publicKeyPem. Returns the blocks one after another.
    /// Their padding is random, so the same text gives another ciphertext each time. Skips a block
    /// that OpenSSL refuses. Empty if \a data is empty, or too long for a QByteArray once
    /// encrypted.
    static QByteArray rsaPublicKeyEncrypt(const QByteArray &data,
                                          const QByteArray &publicKeyPem) noexcept;

    /// Decrypts \a data, the blocks of rsaPublicKeyEncrypt(), with \a privateKeyPem, and returns
    /// their texts without a gap.
    ///
    /// **A damaged block gives nothing or noise.** OpenSSL before 3.2 refuses it, and this
    /// operation skips it. Later releases return random bytes instead, which nobody can tell from
    /// text.
    static QByteArray rsaPrivateKeyDecrypt(const QByteArray &data,
                                           const QByteArray &privateKeyPem) noexcept;

    /// Recovers the bytes that RSA_private_encrypt(), or `openssl pkeyutl -sign` without a digest,
    /// put into \a data. Takes one block, unlike the other operations. Empty if it is not one good
    /// block. OpenSSL judges key texts without a marker.
    static QByteArray rsaPublicKeyDecrypt(const QByteArray &data,
                                          const QByteArray &publicKeyPem) noexcept;

    /// Turns \a text into "LicenseLogEncryptSign" and, right after it, the base64 of \a text
    /// encrypted with this library's own public key. syncstatus-logread decrypts it.
    ///
    /// The marker comes alone if \a text is empty or too long (1.5 GB), or if the host's
    /// SecretkeySplit::recoverSecretKey() gives no key. The text is lost then, never shown.
    static QByteArray logEncryptToBase64(const QByteArray &text) noexcept;
};

} // namespace logEncryption

#endif
