// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "measurements.h"

#include "memoryuse.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

#include <algorithm>
#include <cstddef>

namespace {

qint64 residentKilobytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("/proc/self/statm cannot be read");
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE) / 1024;
}

qint64 entries(const QString &directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

// Memory may differ by what an allocator places differently from one moment to the next.
const std::array<Measurements::Kind, 4> Measurements::kinds{{
    {"Resident memory, kB", "resident", 2048},
    {"Heap in use, kB", "heap", 64},
    {"Descriptors", "descriptors", 0},
    {"Threads", "threads", 0},
}};

const Holdings &Measurements::add()
{
    m_samples.push_back({residentKilobytes(), heapInUse() / 1024,
                         entries(QStringLiteral("/proc/self/fd")) - 1, // the folder itself
                         entries(QStringLiteral("/proc/self/task"))});
    return m_samples.back();
}

std::array<Measurements::Verdict, 4> Measurements::judge() const
{
    const auto least = [this](std::size_t kind, std::size_t quarter) {
        const auto at = [this](std::size_t quarters) {
            return m_samples.begin() + std::ptrdiff_t(m_samples.size() * quarters / 4);
        };
        const auto lessOfKind = [kind](const Holdings &left, const Holdings &right) {
            return left[kind] < right[kind];
        };
        return (*std::min_element(at(quarter), at(quarter + 1), lessOfKind))[kind];
    };
    std::array<Verdict, 4> verdicts{};
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
        const qint64 warm = least(kind, 1);
        const qint64 end = least(kind, 3);
        verdicts[kind] = {warm, end, end - warm <= kinds[kind].allowed};
    }
    return verdicts;
}
