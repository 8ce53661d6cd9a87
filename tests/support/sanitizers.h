// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SANITIZERS_H
#define SANITIZERS_H

// g++ tells by a macro for each sanitizer, clang++ by a feature.
#if defined(__SANITIZE_ADDRESS__)
#define ADDRESS_SANITIZED
#elif defined(__SANITIZE_THREAD__)
#define THREAD_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ADDRESS_SANITIZED
#elif __has_feature(thread_sanitizer)
#define THREAD_SANITIZED
#endif
#endif

/// Whether this program runs slower, with an allocator that keeps what is freed and books of its
/// own, in an address space that cannot be limited.
#if defined(ADDRESS_SANITIZED) || defined(THREAD_SANITIZED)
#define SANITIZED
#endif

#endif
