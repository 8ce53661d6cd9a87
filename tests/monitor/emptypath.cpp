// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "emptypath.h"

#include <dlfcn.h>

#include <atomic>
#include <cstring>

namespace {

std::atomic<int> emptied{0};

// The program has no headers of libdbus: an iterator is passed on unseen.
template <typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

int emptiedPaths()
{
    return emptied;
}

// Stands before libdbus's own, for Qt as well.
extern "C" __attribute__((visibility("default"))) void dbus_message_iter_get_basic(void *iterator,
                                                                                   void *value)
{
    static auto *const getBasic = next<void(void *, void *)>("dbus_message_iter_get_basic");
    static auto *const getType = next<int(void *)>("dbus_message_iter_get_arg_type");
    getBasic(iterator, value);
    if (getType(iterator) != 'o')
        return;
    auto *const path = static_cast<const char **>(value);
    if (std::strcmp(*path, arrivesAsEmptyPath) == 0) {
        *path = "";
        ++emptied;
    }
}
