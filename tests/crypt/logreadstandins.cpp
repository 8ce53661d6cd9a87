// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Preloaded into syncstatus-logread: moments and an OpenSSL that a test cannot have otherwise.

#undef _FORTIFY_SOURCE // with it, some compilers get inline definitions of these functions

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

// The parameters have the names of the declarations that they stand in for.

extern "C" __attribute__((visibility("default"))) ssize_t read(int fd, void *buf,
                                                               std::size_t nbytes)
{
    pollfd readable{fd, POLLIN, 0};
    if (fd == STDIN_FILENO && poll(&readable, 1, 0) == 0)
        interruptOnce();
    return next<decltype(&read)>("read")(fd, buf, nbytes);
}

extern "C" __attribute__((visibility("default"))) int
ppoll(pollfd *fds, nfds_t nfds, const timespec *timeout, const sigset_t *ss)
{
    interruptOnce();
    return next<decltype(&ppoll)>("ppoll")(fds, nfds, timeout, ss);
}

/// Gives noise for bad blocks.
extern "C" __attribute__((visibility("default"))) int
EVP_PKEY_decrypt(EVP_PKEY_CTX *ctx, unsigned char *out, std::size_t *outlen,
                 const unsigned char *in, std::size_t inlen)
{
    const int result =
        next<decltype(&EVP_PKEY_decrypt)>("EVP_PKEY_decrypt")(ctx, out, outlen, in, inlen);
    if (result > 0 || !isWanted("STANDIN_REJECTS_IMPLICITLY"))
        return result;
    out[0] = '?';
    *outlen = 1;
    return 1;
}
