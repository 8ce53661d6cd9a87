// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A host that loads the library, drives the plugin, deletes it, takes a fresh plugin object and
// unloads the library, again and again. It ends with 0 when nothing of the library was left behind
// each time and nothing has grown, else with a message and 1.
//
//   reloadhost <plugin file> <cycles> [monitor]
//
// "monitor" makes the network monitor in each cycle and prints what it answered.

#include "barehost.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QPluginLoader>
#include <QPointer>

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

using custompluginmanager::PluginBase;

namespace {

// A Qt application may still be filling caches in the first cycles.
constexpr int warmUpCycles = 20;
// Less than two words for each cycle after warm-up: there is no room for a leak that repeats.
constexpr qint64 heapTolerance = 1024;
constexpr qint64 residentTolerance = 256 * 1024;

void require(bool condition, const QString &message)
{
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", qPrintable(message));
    std::exit(1);
}

int entries(const char *directory)
{
    return QDir(QLatin1String(directory))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

struct Usage
{
    int descriptors;
    int threads;
    qint64 heap;
    qint64 resident;
};

Usage measure()
{
    Usage usage{};
    usage.descriptors = entries("/proc/self/fd");
    usage.threads = entries("/proc/self/task");
#ifndef SANITIZED // a sanitizer's allocator keeps what was freed, and books of its own
#if __GLIBC_PREREQ(2, 33)
    const struct mallinfo2 info = mallinfo2();
#else
    const struct mallinfo info = mallinfo();
#endif
    usage.heap = qint64(info.uordblks + info.hblkhd);
    QFile statm(QStringLiteral("/proc/self/statm"));
    require(statm.open(QIODevice::ReadOnly), statm.errorString());
    usage.resident = statm.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
#endif
    return usage;
}

void drive(PluginBase *plugin)
{
    require(plugin->initialize(nullptr), QStringLiteral("initialize() has failed"));
    plugin->extensionsInitialized();
    require(plugin->delayedInitialize(), QStringLiteral("delayedInitialize() has failed"));
}

QString askMonitor(QObject *implement)
{
    bool online = false;
    QObject *monitor = nullptr;
    require(QMetaObject::invokeMethod(implement, "getNetworkState", Q_RETURN_ARG(bool, online)) &&
                QMetaObject::invokeMethod(implement, "networkMonitor",
                                          Q_RETURN_ARG(QObject *, monitor)) &&
                monitor,
            QStringLiteral("there is no monitor"));
    return online ? QStringLiteral("online") : QStringLiteral("offline");
}

void cycle(const QString &pluginFile, bool withMonitor)
{
    QPluginLoader loader(pluginFile);
    loader.setLoadHints({}); // real unloading
    auto *plugin = qobject_cast<PluginBase *>(loader.instance());
    require(plugin, loader.errorString());
    require(!barehost::isMapped("libcustompluginmanager"),
            QStringLiteral("the framework library is in this process"));
    require(!barehost::isMapped("libcrypto"), QStringLiteral("libcrypto is in this process"));

    drive(plugin);
    if (withMonitor)
        std::puts(qPrintable(askMonitor(barehost::lastImplement())));
    QCoreApplication::processEvents();
    const QPointer<PluginBase> old = plugin;
    delete plugin;

    plugin = qobject_cast<PluginBase *>(loader.instance());
    require(plugin && !old, QStringLiteral("there is no fresh plugin object"));
    drive(plugin);
    delete plugin;

    require(loader.unload(), loader.errorString());
    require(!barehost::isMapped("libsyncstatus"),
            QStringLiteral("something of the library stays mapped"));
    // Whatever was on its way to the library arrives now, as does what visits every category.
    QCoreApplication::processEvents();
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    barehost::takeCalls();
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    require(arguments.size() >= 3, QStringLiteral("reloadhost <plugin file> <cycles> [monitor]"));
    const int cycles = arguments.at(2).toInt();
    const bool withMonitor = arguments.value(3) == QLatin1String("monitor");
    require(cycles > warmUpCycles, QStringLiteral("too few cycles"));

    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    Usage before{};
    for (int i = 0; i < cycles; ++i) {
        if (i == warmUpCycles)
            before = measure();
        cycle(arguments.at(1), withMonitor);
        // A page here and there, so that the library comes back at another address.
        if (i < warmUpCycles)
            mmap(nullptr, size_t(sysconf(_SC_PAGESIZE)) * size_t(i + 1), PROT_NONE,
                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    }
    const Usage after = measure();

    const auto flat = [](const char *what, qint64 from, qint64 to, qint64 tolerance) {
        require(to - from <= tolerance, QStringLiteral("%1 have grown from %2 to %3")
                                            .arg(QLatin1String(what))
                                            .arg(from)
                                            .arg(to));
    };
    flat("open descriptors", before.descriptors, after.descriptors, 0);
    flat("threads", before.threads, after.threads, 0);
    flat("bytes in use", before.heap, after.heap, heapTolerance);
    flat("resident bytes", before.resident, after.resident, residentTolerance);
    return 0;
}
