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
/// using logEncryption::RsaCrypt;
/// const QString user = "Ada";
/// qInfo().noquote() << "login of" << RsaCrypt::logEncryptToBase64(user.toLocal8Bit());
/// \endcode
///
/// - Threads: any, several at once. Each call empties its thread's OpenSSL error queue.
/// - Blocking: it reads the key and computes each block: docs/performance.md.
/// - Failure: an empty result, or the bare marker of logEncryptToBase64(), without a reason.
/// - Logging: none.
///
/// K is the length of the key's modulus in bytes, 256 for 2048 bits. A block of ciphertext has K
/// bytes and carries up to K - 11 bytes of text, with PKCS#1 v1.5 padding. Nothing protects the
/// order or the number of blocks.
///
/// Keys are RSA keys of any length, as PEM text without a passphrase. A public key is PKCS#1 if
/// its text has "BEGIN RSA PUBLIC KEY" anywhere, else X.509 ("BEGIN PUBLIC KEY"). A private key is
/// PKCS#1 or PKCS#8. A key that cannot be read is a failure.
///
/// **The host brings libcrypto**, 1.1 or 3. Without it the first call ends the process. Long texts
/// and damaged blocks: docs/encrypted-log-text.md.
class SYNCSTATUS_EXPORT RsaCrypt
{
public:
    RsaCrypt() = delete;

    /// Encrypts \a data, any bytes, with \a publicKeyPem. Returns the blocks one after another,
    /// with random padding. Skips a block that OpenSSL refuses. Empty if \a data is empty or too
    /// long, or if the key's text has neither of the two markers.
    static QByteArray rsaPublicKeyEncrypt(const QByteArray &data,
                                          const QByteArray &publicKeyPem) noexcept;

    /// Decrypts \a data, the blocks of rsaPublicKeyEncrypt(), with \a privateKeyPem, and returns
    /// their texts without a gap.
    ///
    /// **A damaged block gives nothing or noise**, depending on the release of OpenSSL. Noise looks
    /// like text. Refuses each key text with "ENCRYPTED" in it, so that OpenSSL never asks for a
    /// passphrase.
    static QByteArray rsaPrivateKeyDecrypt(const QByteArray &data,
                                           const QByteArray &privateKeyPem) noexcept;

    /// Recovers the bytes that RSA_private_encrypt(), or `openssl pkeyutl -sign` without a digest,
    /// put into \a data. Takes one block, unlike the other operations. Empty if it is not one good
    /// block. OpenSSL also judges a key text without a marker.
    static QByteArray rsaPublicKeyDecrypt(const QByteArray &data,
                                          const QByteArray &publicKeyPem) noexcept;

    /// Encrypts \a text with this library's public key. Returns "LicenseLogEncryptSign" and, right
    /// after it, the ciphertext in standard base64 with padding. syncstatus-logread decrypts it. In
    /// a program, remove the marker, decode the base64 and call rsaPrivateKeyDecrypt().
    ///
    /// Returns the bare marker if \a text is empty or too long, or if the host's
    /// SecretkeySplit::recoverSecretKey() throws or gives no key. The text is lost then.
    static QByteArray logEncryptToBase64(const QByteArray &text) noexcept;
};

} // namespace logEncryption

#endif
