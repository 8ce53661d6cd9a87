// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A host without libcrypto: loads the library that it is told to, as QPluginLoader does, and calls
// the function of a byte array that it is told to, if any.

#include <QFile>

#include <dlfcn.h>

#include <cstdio>

int main(int argc, char **argv)
{
    void *const library = argc > 1 ? dlopen(argv[1], RTLD_LAZY) : nullptr;
    if (!library) {
        std::fprintf(stderr, "%s\n", argc > 1 ? dlerror() : "no library named");
        return 1;
    }
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly) || maps.readAll().contains("libcrypto")) {
        std::fputs("libcrypto is in this process\n", stderr);
        return 1;
    }
    std::puts("loaded without libcrypto");
    std::fflush(stdout);
    if (argc > 2) {
        using Function = QByteArray (*)(const QByteArray &);
        const auto function = reinterpret_cast<Function>(dlsym(library, argv[2]));
        if (!function) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        function("word");
    }
    return 0;
}
