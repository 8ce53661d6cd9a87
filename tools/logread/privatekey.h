// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef PRIVATEKEY_H
#define PRIVATEKEY_H

#include <openssl/evp.h>

#include <memory>
#include <string>

struct FreeKey
{
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
};
using PrivateKey = std::unique_ptr<EVP_PKEY, FreeKey>;

/// Reads the RSA private key in PEM form, PKCS#1 or PKCS#8, from the file at \a path.
///
/// If the key has a passphrase, OpenSSL asks for it on the controlling terminal, never on standard
/// input. Blocks until it is given.
///
/// Returns null on failure, with a message for the user in \a error that begins with the path.
PrivateKey readPrivateKey(const std::string &path, std::string *error);

#endif
