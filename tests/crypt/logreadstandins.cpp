// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Preloaded into syncstatus-logread: a signal at a given moment, and another OpenSSL.

#undef _FORTIFY_SOURCE // with it, some compilers get inline definitions of these functions

#include "standin.h"

#include <openssl/evp.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace {

bool isWanted(const char *variable)
{
    return std::getenv(variable) != nullptr;
}

/// The signal arrives just before the program waits.
void interruptOnce()
{
    static bool done = false;
    if (!done && isWanted("STANDIN_INTERRUPTS")) {
        done = true;
        raise(SIGINT);
    }
}

} // namespace

STANDIN ssize_t read(int fd, void *buf, std::size_t nbytes)
{
    pollfd readable{fd, POLLIN, 0};
    if (fd == STDIN_FILENO && poll(&readable, 1, 0) == 0)
        interruptOnce();
    return NEXT(read)(fd, buf, nbytes);
}

STANDIN int ppoll(pollfd *fds, nfds_t nfds, const timespec *timeout, const sigset_t *ss)
{
    interruptOnce();
    return NEXT(ppoll)(fds, nfds, timeout, ss);
}

/// What clang++ calls in its place with _FORTIFY_SOURCE, on newer C libraries.
STANDIN int __ppoll_chk(pollfd *fds, nfds_t nfds, const timespec *timeout, const sigset_t *ss,
                        std::size_t fdslen)
{
    interruptOnce();
    return NEXT(__ppoll_chk)(fds, nfds, timeout, ss, fdslen);
}

/// Gives a byte for a bad block, as an OpenSSL that hides damage does.
STANDIN int EVP_PKEY_decrypt(EVP_PKEY_CTX *ctx, unsigned char *out, std::size_t *outlen,
                             const unsigned char *in, std::size_t inlen)
{
    const int result = NEXT(EVP_PKEY_decrypt)(ctx, out, outlen, in, inlen);
    if (result > 0 || !isWanted("STANDIN_REJECTS_IMPLICITLY"))
        return result;
    out[0] = '?';
    *outlen = 1;
    return 1;
}
