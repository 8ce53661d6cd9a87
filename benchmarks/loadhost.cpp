// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Usage: loadhost PLUGIN
//
// Loads and starts a plugin, and prints the cost: nanoseconds, and kilobytes of private memory.

#include <custompluginmanager/pluginbase.h>

#include <QCoreApplication>
#include <QFile>
#include <QLoggingCategory>
#include <QPluginLoader>

#include <chrono>
#include <cstdio>

namespace {

long privateMemory()
{
    QFile file(QStringLiteral("/proc/self/smaps_rollup"));
    long kilobytes = 0;
    if (file.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> lines = file.readAll().split('\n');
        for (const QByteArray &line : lines) {
            if (line.startsWith("Private_Dirty:"))
                kilobytes += line.simplified().split(' ').at(1).toLong();
        }
    }
    return kilobytes;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent=false"));
    privateMemory(); // so that the memory for counting is there already
    const long memoryBefore = privateMemory();
    const auto begin = std::chrono::steady_clock::now();

    QPluginLoader loader(QCoreApplication::arguments().value(1));
    auto *const plugin = qobject_cast<custompluginmanager::PluginBase *>(loader.instance());
    if (!plugin || !plugin->initialize(nullptr)) {
        std::fprintf(stderr, "loadhost: %s\n", qPrintable(loader.errorString()));
        return 1;
    }
    plugin->extensionsInitialized();
    plugin->delayedInitialize();

    const std::chrono::nanoseconds time = std::chrono::steady_clock::now() - begin;
    std::printf("%lld %ld\n", static_cast<long long>(time.count()), privateMemory() - memoryBefore);
    return 0;
}
