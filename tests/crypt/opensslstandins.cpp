// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "opensslstandins.h"

#include "standin.h"

#include <QScopedValueRollback>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

OpensslStandIns standIns;

namespace {

// Whether a function of OpenSSL is running. What it calls in turn is not noted.
bool atWork = false;

template <typename Function, typename... Arguments>
auto callReal(Function *real, Arguments... arguments)
{
    const QScopedValueRollback<bool> guard(atWork, true);
    return real(arguments...);
}

bool note(const char *name)
{
    if (!atWork)
        standIns.calls += QString::fromLatin1(name);
    return !atWork;
}

using Reader = RSA *(BIO *, RSA **, pem_password_cb *, void *);

RSA *read(Reader *real, const char *name, BIO *bio, RSA **key, pem_password_cb *callback,
          void *data)
{
    if (!note(name))
        return callReal(real, bio, key, callback, data);
    standIns.readerHadObject = *key;
    standIns.readerHadCallback = callback || data;
    RSA *result = nullptr;
    switch (standIns.reader) {
    case OpensslStandIns::ReaderWorks:
        result = callReal(real, bio, key, callback, data);
        standIns.keys += int(*key != nullptr) - int(standIns.readerHadObject);
        break;
    case OpensslStandIns::ReaderFailsAndFrees:
        RSA_free(*key);
        *key = nullptr;
        Q_FALLTHROUGH();
    case OpensslStandIns::ReaderFails:
        ERR_put_error(ERR_LIB_PEM, 0, PEM_R_NO_START_LINE, __FILE__, __LINE__);
        break;
    }
    return result;
}

using Block = int(int, const unsigned char *, unsigned char *, RSA *, int);

int applyKey(Block *real, const char *name, int length, const unsigned char *from,
             unsigned char *to, RSA *key, int padding)
{
    if (standIns.block)
        return standIns.block(length, from, to);
    if (note(name))
        standIns.paddings += padding;
    return callReal(real, length, from, to, key, padding);
}

} // namespace

STANDIN BIO *BIO_new_mem_buf(const void *buf, int len)
{
    if (note("BIO_new_mem_buf")) {
        if (standIns.failBio) {
            ERR_put_error(ERR_LIB_BIO, 0, ERR_R_MALLOC_FAILURE, __FILE__, __LINE__);
            return nullptr;
        }
        ++standIns.bios;
    }
    return callReal(NEXT(BIO_new_mem_buf), buf, len);
}

STANDIN void BIO_free_all(BIO *a)
{
    if (note("BIO_free_all"))
        standIns.bios -= int(a != nullptr);
    callReal(NEXT(BIO_free_all), a);
}

STANDIN RSA *RSA_new()
{
    if (note("RSA_new")) {
        if (standIns.failRsaNew)
            return nullptr;
        ++standIns.keys;
    }
    return callReal(NEXT(RSA_new));
}

STANDIN void RSA_free(RSA *r)
{
    if (note("RSA_free"))
        standIns.keys -= int(r != nullptr);
    callReal(NEXT(RSA_free), r);
}

STANDIN int RSA_size(const RSA *rsa)
{
    return note("RSA_size") && standIns.keySize ? *standIns.keySize : callReal(NEXT(RSA_size), rsa);
}

STANDIN RSA *PEM_read_bio_RSAPublicKey(BIO *bio, RSA **key, pem_password_cb *callback, void *data)
{
    return read(NEXT(PEM_read_bio_RSAPublicKey), "PEM_read_bio_RSAPublicKey", bio, key, callback,
                data);
}

STANDIN RSA *PEM_read_bio_RSA_PUBKEY(BIO *bio, RSA **key, pem_password_cb *callback, void *data)
{
    return read(NEXT(PEM_read_bio_RSA_PUBKEY), "PEM_read_bio_RSA_PUBKEY", bio, key, callback, data);
}

STANDIN RSA *PEM_read_bio_RSAPrivateKey(BIO *bio, RSA **key, pem_password_cb *callback, void *data)
{
    return read(NEXT(PEM_read_bio_RSAPrivateKey), "PEM_read_bio_RSAPrivateKey", bio, key, callback,
                data);
}

STANDIN int RSA_public_encrypt(int flen, const unsigned char *from, unsigned char *to, RSA *rsa,
                               int padding)
{
    return applyKey(NEXT(RSA_public_encrypt), "RSA_public_encrypt", flen, from, to, rsa, padding);
}

STANDIN int RSA_private_decrypt(int flen, const unsigned char *from, unsigned char *to, RSA *rsa,
                                int padding)
{
    return applyKey(NEXT(RSA_private_decrypt), "RSA_private_decrypt", flen, from, to, rsa, padding);
}

STANDIN int RSA_public_decrypt(int flen, const unsigned char *from, unsigned char *to, RSA *rsa,
                               int padding)
{
    return applyKey(NEXT(RSA_public_decrypt), "RSA_public_decrypt", flen, from, to, rsa, padding);
}

STANDIN void ERR_clear_error()
{
    note("ERR_clear_error");
    callReal(NEXT(ERR_clear_error));
}
