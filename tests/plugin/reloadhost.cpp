// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A host that loads the library, drives the plugin, deletes it, takes a fresh plugin object and
// unloads the library, again and again. Its exit status is 0 when each time nothing of the library
// stayed and nothing has grown. Otherwise it writes a message and the status is 1.
//
//   reloadhost <plugin file> <cycles> <tolerance> [monitor]
//
// The memory in use may grow by <tolerance> bytes after the first cycles; this needs 100 cycles or
// more. With "-" nothing is measured and one cycle is enough. "monitor" makes the network monitor
// in each cycle and prints its answer.

#include "barehost.h"
#include "sanitizers.h"
#include "standin.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QPluginLoader>

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

using custompluginmanager::PluginBase;

namespace {

// A Qt application may still be filling caches in the first cycles.
constexpr int warmUpCycles = 20;
constexpr int measuredCycles = 20;
constexpr int minimumCycles = 100;
constexpr qint64 residentTolerance = 0x40000;

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
    qint64 descriptors;
    qint64 threads;
    qint64 heap;
    qint64 resident;
};

// Memory may be in use for a moment only, so of several measurements the lowest counts.
Usage lowest(const Usage &a, const Usage &b)
{
    return {std::min(a.descriptors, b.descriptors), std::min(a.threads, b.threads),
            std::min(a.heap, b.heap), std::min(a.resident, b.resident)};
}

Usage measure()
{
    Usage usage{};
    usage.descriptors = entries("/proc/self/fd");
    usage.threads = entries("/proc/self/task");
#ifndef SANITIZED
#if __GLIBC_PREREQ(2, 33)
    const struct mallinfo2 info = mallinfo2();
#else
    const struct mallinfo info = mallinfo();
#endif
    usage.heap = qint64(info.uordblks) + qint64(info.hblkhd);
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

QString askMonitor()
{
    bool online = false;
    require(QMetaObject::invokeMethod(barehost::lastImplement(), "getNetworkState",
                                      Q_RETURN_ARG(bool, online)) &&
                barehost::askForMonitor(),
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
        std::puts(qPrintable(askMonitor()));
    QCoreApplication::processEvents();
    delete plugin;
    barehost::takeCalls();

    plugin = qobject_cast<PluginBase *>(loader.instance());
    require(plugin && barehost::takeCalls().contains(QLatin1String("PluginBase")),
            QStringLiteral("there is no fresh plugin object"));
    drive(plugin);
    delete plugin;

    require(loader.unload(), loader.errorString());
    require(!barehost::isMapped("libsyncstatus"),
            QStringLiteral("something of the library stays mapped"));
    // Events that were on their way to the library arrive now, and new rules visit all categories.
    QCoreApplication::processEvents();
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    barehost::takeCalls();
}

// Takes address space, so that the library comes back at another address.
void takeAddressSpace(int pages)
{
    const void *const taken = mmap(nullptr, size_t(sysconf(_SC_PAGESIZE)) * size_t(pages),
                                   PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(taken != MAP_FAILED, QStringLiteral("there is no more address space"));
}

void requireFlat(const char *what, qint64 from, qint64 to, qint64 tolerance)
{
    require(
        to - from <= tolerance,
        QStringLiteral("%1 have grown from %2 to %3").arg(QLatin1String(what)).arg(from).arg(to));
}

} // namespace

// Hides the names of Qt's libraries without a version, as on a machine without the files to develop
// with.
STANDIN void *dlopen(const char *file, int mode) noexcept
{
    const QByteArray name(file);
    const bool isDevelopmentFile = name.contains("libQt5") && name.endsWith(".so");
    return NEXT(dlopen)(isDevelopmentFile ? "/nonexistent/library.so" : file, mode);
}

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    require(arguments.size() >= 4,
            QStringLiteral("reloadhost <plugin file> <cycles> <tolerance> [monitor]"));
    const int cycles = arguments.at(2).toInt();
    const qint64 heapTolerance = arguments.at(3).toLongLong();
    const bool measured = arguments.at(3) != QLatin1String("-");
    const bool withMonitor = arguments.value(4) == QLatin1String("monitor");
    require(cycles >= (measured ? minimumCycles : 1), QStringLiteral("too few cycles"));

    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    constexpr qint64 unknown = std::numeric_limits<qint64>::max();
    Usage before{unknown, unknown, unknown, unknown};
    Usage after = before;
    for (int i = 0; i < cycles; ++i) {
        cycle(arguments.at(1), withMonitor);
        if (i < warmUpCycles) {
            takeAddressSpace(i + 1);
        } else if (!measured) {
            continue;
        } else if (i < warmUpCycles + measuredCycles) {
            before = lowest(before, measure());
        } else if (i >= cycles - measuredCycles) {
            after = lowest(after, measure());
        }
    }

    if (!measured) {
        // Valgrind looks for leaks at the end of the process. The library is unloaded by now, but
        // Qt may leak data of QtDBus's thread when that thread ends after the process.
        std::fflush(stdout);
        std::_Exit(0);
    }
    requireFlat("open descriptors", before.descriptors, after.descriptors, 0);
    requireFlat("threads", before.threads, after.threads, 0);
    requireFlat("bytes in use", before.heap, after.heap, heapTolerance);
    requireFlat("resident bytes", before.resident, after.resident, residentTolerance);
    return 0;
}
