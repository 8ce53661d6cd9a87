// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// RsaCrypt::rsaPrivateKeyDecrypt() with any key text: OpenSSL's EVP interface must read the same
// key and decrypt the data to the same text.

#include "judge.h"

#include <syncstatus/rsacrypt.h>

#include <fcntl.h>
#include <openssl/err.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

using logEncryption::RsaCrypt;

// An encrypted key makes OpenSSL ask for a passphrase. There shall be nobody to ask.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    const int terminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
    if (terminal >= 0) {
        ioctl(terminal, TIOCNOTTY);
        close(terminal);
    }
    require(std::freopen("/dev/null", "r", stdin) != nullptr, "standard input can be closed");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const DataAndKey input(bytes, size);
    const QByteArray text = RsaCrypt::rsaPrivateKeyDecrypt(input.data, input.pem);
    require(ERR_peek_error() == 0, "the error queue is empty");

    const PrivateKey key = privateKeyOf(input.pem);
    if (key && EVP_PKEY_base_id(key.get()) == EVP_PKEY_RSA)
        require(text == decrypted(key.get(), input.data), "the same text");
    else
        require(text.isEmpty(), "nothing without a key");
    return 0;
}
