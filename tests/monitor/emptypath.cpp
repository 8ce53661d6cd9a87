// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "emptypath.h"

#include "standin.h"

#include <atomic>
#include <cstring>

// The program has no headers of libdbus.
extern "C" int dbus_message_iter_get_arg_type(void *iterator);

namespace {

std::atomic<int> emptied{0};

} // namespace

int emptiedPaths()
{
    return emptied;
}

STANDIN void dbus_message_iter_get_basic(void *iterator, void *value)
{
    static auto *const getBasic = NEXT(dbus_message_iter_get_basic);
    static auto *const getType = NEXT(dbus_message_iter_get_arg_type);
    getBasic(iterator, value);
    if (getType(iterator) != 'o')
        return;
    auto *const path = static_cast<const char **>(value);
    if (std::strcmp(*path, arrivesAsEmptyPath) == 0) {
        *path = "";
        ++emptied;
    }
}
