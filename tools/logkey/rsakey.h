// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef RSAKEY_H
#define RSAKEY_H

#include <QByteArray>
#include <QString>

#include <openssl/evp.h>

#include <memory>

struct KeyDeleter
{
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
};

/// An RSA public key.
using RsaKey = std::unique_ptr<EVP_PKEY, KeyDeleter>;

/// The first key in \a pem, which must be an RSA public key: PKCS#1 ("RSA PUBLIC KEY") or
/// SubjectPublicKeyInfo ("PUBLIC KEY"). Everything else is refused, a private key above all. Null
/// on failure, with the reason in \a error, as with all operations here.
RsaKey readPublicKey(const QByteArray &pem, QString *error);

/// The key that the library reads from \a pem, the text that its pieces join to. As in
/// rsacrypt.cpp, the markers "BEGIN RSA PUBLIC KEY" and "BEGIN PUBLIC KEY" decide, anywhere in the
/// text. Refuses a key that the library cannot encrypt with, and a text with a private key.
RsaKey readLibraryKey(const QByteArray &pem, QString *error);

/// \a key as SubjectPublicKeyInfo PEM. Empty on failure.
QByteArray publicKeyPem(const RsaKey &key, QString *error);

/// The SHA-256 digest of \a key's SubjectPublicKeyInfo DER in hexadecimal, as
/// `openssl pkey -pubin -outform DER | openssl dgst -sha256` prints it. Empty on failure.
QByteArray publicKeyFingerprint(const RsaKey &key, QString *error);

#endif
