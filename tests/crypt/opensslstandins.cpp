// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// These are the functions that the library calls, deprecated since 3.0.
#define OPENSSL_API_COMPAT 0x10100000L

#include "opensslstandins.h"

#include <QScopedValueRollback>

#include <dlfcn.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

OpensslStandIns standIns;

namespace {

// Whether a real function is at work: what it calls itself ends up here as well and is its own
// business.
bool atWork = false;

// Calls the function that would have been called without the stand-in, which is given for its type.
template <typename Result, typename... Arguments, typename... Given>
Result callReal(Result (*)(Arguments...), const char *name, Given... arguments)
{
    const QScopedValueRollback<bool> guard(atWork, true);
    return reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

bool note(const char *name)
{
    if (!atWork)
        standIns.calls += QString::fromLatin1(name);
    return !atWork;
}

template <typename Function>
RSA *read(Function *standIn, const char *name, BIO *bio, RSA **key, pem_password_cb *callback,
          void *data)
{
    if (!note(name))
        return callReal(standIn, name, bio, key, callback, data);
    standIns.readerHadObject = *key;
    standIns.readerHadCallback = callback || data;
    RSA *result = nullptr;
    switch (standIns.reader) {
    case OpensslStandIns::ReaderWorks:
        result = callReal(standIn, name, bio, key, callback, data);
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

template <typename Function>
int applyKey(Function *standIn, const char *name, int length, const unsigned char *from,
             unsigned char *to, RSA *key, int padding)
{
    if (standIns.block)
        return standIns.block(length, from, to);
    if (note(name))
        standIns.paddings += padding;
    return callReal(standIn, name, length, from, to, key, padding);
}

} // namespace

extern "C" {

BIO *BIO_new_mem_buf(const void *buf, int len)
{
    if (note("BIO_new_mem_buf")) {
        if (standIns.failBio) {
            ERR_put_error(ERR_LIB_BIO, 0, ERR_R_MALLOC_FAILURE, __FILE__, __LINE__);
            return nullptr;
        }
        ++standIns.bios;
    }
    return callReal(BIO_new_mem_buf, "BIO_new_mem_buf", buf, len);
}

void BIO_free_all(BIO *a)
{
    if (note("BIO_free_all"))
        standIns.bios -= int(a != nullptr);
    callReal(BIO_free_all, "BIO_free_all", a);
}

RSA *RSA_new()
{
    if (note("RSA_new")) {
        if (standIns.failRsaNew)
            return nullptr;
        ++standIns.keys;
    }
    return callReal(RSA_new, "RSA_new");
}

void RSA_free(RSA *r)
{
    if (note("RSA_free"))
        standIns.keys -= int(r != nullptr);
    callReal(RSA_free, "RSA_free", r);
}

int RSA_size(const RSA *rsa)
{
    return note("RSA_size") && standIns.keySize ? *standIns.keySize
                                                : callReal(RSA_size, "RSA_size", rsa);
}

RSA *PEM_read_bio_RSAPublicKey(BIO *bio, RSA **key, pem_password_cb *callback, void *data)
{
    return read(PEM_read_bio_RSAPublicKey, "PEM_read_bio_RSAPublicKey", bio, key, callback, data);
}

RSA *PEM_read_bio_RSA_PUBKEY(BIO *bio, RSA **key, pem_password_cb *callback, void *data)
{
    return read(PEM_read_bio_RSA_PUBKEY, "PEM_read_bio_RSA_PUBKEY", bio, key, callback, data);
}

RSA *PEM_read_bio_RSAPrivateKey(BIO *bio, RSA **key, pem_password_cb *callback, void *data)
{
    return read(PEM_read_bio_RSAPrivateKey, "PEM_read_bio_RSAPrivateKey", bio, key, callback, data);
}

int RSA_public_encrypt(int flen, const unsigned char *from, unsigned char *to, RSA *rsa,
                       int padding)
{
    return applyKey(RSA_public_encrypt, "RSA_public_encrypt", flen, from, to, rsa, padding);
}

int RSA_private_decrypt(int flen, const unsigned char *from, unsigned char *to, RSA *rsa,
                        int padding)
{
    return applyKey(RSA_private_decrypt, "RSA_private_decrypt", flen, from, to, rsa, padding);
}

int RSA_public_decrypt(int flen, const unsigned char *from, unsigned char *to, RSA *rsa,
                       int padding)
{
    return applyKey(RSA_public_decrypt, "RSA_public_decrypt", flen, from, to, rsa, padding);
}

void ERR_clear_error()
{
    note("ERR_clear_error");
    callReal(ERR_clear_error, "ERR_clear_error");
}

} // extern "C"
