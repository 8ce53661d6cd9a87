// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "privatekey.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

enum class Passphrase { NotNeeded, Asked, NoTerminal };

// Without this, OpenSSL asks on standard input if there is no terminal, and that is the log.
int askPassphrase(char *buffer, int size, int forWriting, void *data)
{
    auto *const passphrase = static_cast<Passphrase *>(data);
    std::FILE *const terminal = std::fopen("/dev/tty", "r+e");
    if (!terminal) {
        *passphrase = Passphrase::NoTerminal;
        return -1;
    }
    std::fclose(terminal);
    *passphrase = Passphrase::Asked;
    return PEM_def_callback(buffer, size, forWriting, nullptr);
}

} // namespace

PrivateKey readPrivateKey(const std::string &path, std::string *error)
{
    struct Close
    {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "re"));
    if (!file) {
        *error = path + ": " + std::strerror(errno);
        return nullptr;
    }

    auto passphrase = Passphrase::NotNeeded;
    PrivateKey key(PEM_read_PrivateKey(file.get(), nullptr, askPassphrase, &passphrase));
    ERR_clear_error();
    if (!key) {
        if (std::ferror(file.get()))
            *error = path + ": cannot be read";
        else if (passphrase == Passphrase::NoTerminal)
            *error = path + ": the key has a passphrase, and there is no terminal to ask for it";
        else if (passphrase == Passphrase::Asked)
            *error = path + ": wrong passphrase or damaged key";
        else
            *error = path + ": contains no private key in PEM form";
        return nullptr;
    }
    if (EVP_PKEY_base_id(key.get()) != EVP_PKEY_RSA) {
        *error = path + ": not an RSA key";
        return nullptr;
    }
    return key;
}
