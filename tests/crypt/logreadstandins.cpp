// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Preloaded into syncstatus-logread: moments and an OpenSSL that a test cannot have otherwise.

#include <dlfcn.h>
#include <openssl/evp.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace {

template <typename Function>
Function next(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool isWanted(const char *variable)
{
    return std::getenv(variable) != nullptr;
}

/// The signal that comes in the last moment before the program waits.
void interruptOnce()
{
    static bool done = false;
    if (!done && isWanted("STANDIN_INTERRUPTS")) {
        done = true;
        raise(SIGINT);
    }
}

} // namespace

extern "C" __attribute__((visibility("default"))) ssize_t read(int file, void *buffer,
                                                               std::size_t size)
{
    pollfd readable{file, POLLIN, 0};
    if (file == STDIN_FILENO && poll(&readable, 1, 0) == 0)
        interruptOnce();
    return next<decltype(&read)>("read")(file, buffer, size);
}

extern "C" __attribute__((visibility("default"))) int
ppoll(pollfd *files, nfds_t count, const timespec *timeout, const sigset_t *signals)
{
    interruptOnce();
    return next<decltype(&ppoll)>("ppoll")(files, count, timeout, signals);
}

/// Gives noise for bad blocks.
extern "C" __attribute__((visibility("default"))) int
EVP_PKEY_decrypt(EVP_PKEY_CTX *context, unsigned char *plain, std::size_t *size,
                 const unsigned char *block, std::size_t blockSize)
{
    const int result = next<decltype(&EVP_PKEY_decrypt)>("EVP_PKEY_decrypt")(context, plain, size,
                                                                             block, blockSize);
    if (result > 0 || !isWanted("STANDIN_REJECTS_IMPLICITLY"))
        return result;
    plain[0] = '?';
    *size = 1;
    return 1;
}
