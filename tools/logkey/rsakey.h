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

/// An RSA key, public or a pair.
using RsaKey = std::unique_ptr<EVP_PKEY, KeyDeleter>;

/// A new pair with a modulus of \a bits bits; takes seconds to minutes when they are many. Null on
/// failure, with the reason in \a error, as with all operations here.
RsaKey generateRsaKey(int bits, QString *error);

/// The first key in \a pem, which must be an RSA public key: PKCS#1 ("RSA PUBLIC KEY") or
/// SubjectPublicKeyInfo ("PUBLIC KEY"). Everything else is refused, a private key above all.
RsaKey readPublicKey(const QByteArray &pem, QString *error);

/// The key that the library reads from \a pem, the text that its pieces join to, found as
/// rsacrypt.cpp finds it: by the markers "BEGIN RSA PUBLIC KEY" and "BEGIN PUBLIC KEY" anywhere in
/// the text. Refused as well when the library could not encrypt with it, and when the text holds a
/// private key.
RsaKey readLibraryKey(const QByteArray &pem, QString *error);

/// The public half of \a key as SubjectPublicKeyInfo PEM. Empty on failure.
QByteArray publicKeyPem(const RsaKey &key, QString *error);

/// Writes the private half of \a key as PKCS#8 PEM, without a passphrase, to the open file
/// \a descriptor, straight from OpenSSL's memory.
bool writePrivateKey(const RsaKey &key, int descriptor, QString *error);

/// The SHA-256 digest of the public half's SubjectPublicKeyInfo DER, in hexadecimal: what
/// `openssl pkey -pubin -in FILE -outform DER | sha256sum` prints. Empty on failure.
QByteArray publicKeyFingerprint(const RsaKey &key, QString *error);

#endif
