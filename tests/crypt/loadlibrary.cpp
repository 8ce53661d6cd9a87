// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A host without libcrypto: loads the library that it is told to, as QPluginLoader does.

#include <QFile>

#include <dlfcn.h>

#include <cstdio>

int main(int argc, char **argv)
{
    if (argc != 2 || !dlopen(argv[1], RTLD_LAZY)) {
        std::fprintf(stderr, "%s\n", argc == 2 ? dlerror() : "no library named");
        return 1;
    }
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly) || maps.readAll().contains("libcrypto")) {
        std::fputs("libcrypto is in this process\n", stderr);
        return 1;
    }
    std::puts("loaded without libcrypto");
    return 0;
}
