// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef STANDIN_H
#define STANDIN_H

#include <dlfcn.h>

/// Defines a function of the C library, or of another one, in the test's own program. The loader
/// finds it first, for all that the process has loaded:
///     STANDIN int kill(pid_t process, int signal) noexcept
///     {
///         ++kills;
///         return NEXT(kill)(process, signal);
///     }
#define STANDIN extern "C" __attribute__((visibility("default")))

/// The function that the stand-in hides.
#define NEXT(function) reinterpret_cast<decltype(&::function)>(::dlsym(RTLD_NEXT, #function))

#endif
