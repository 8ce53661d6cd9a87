// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Whole files and INI files.

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include "inmemory.h"

#include <syncstatus/filemanager.h>

#include <QFile>
#include <QSettings>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

using systemFileManager::FileManager;

namespace {

QByteArray dataOf(qint64 size)
{
    static QByteArray data;
    if (data.size() != size)
        data.fill('x', int(size));
    return data;
}

bool writePlain(const QByteArray &data, const char *path)
{
    const int file = open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0)
        return false;
    const bool written = write(file, data.constData(), size_t(data.size())) == data.size();
    close(file);
    return written;
}

QByteArray readPlain(const char *path)
{
    QByteArray data;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (file >= 0 && fstat(file, &status) == 0) {
        data.resize(int(status.st_size));
        data.resize(int(read(file, data.data(), size_t(data.size()))));
        close(file);
    }
    return data;
}

template <typename Operation>
void writing(benchmark::State &state, Operation write)
{
    dataOf(state.range(0)); // made before the measurement
    for (auto _ : state) {
        if (!write())
            state.SkipWithError("the file cannot be written");
    }
    if (QFile(inMemory("file")).size() != state.range(0)) // a full disk can take a part
        state.SkipWithError("the file cannot be written whole");
    QFile::remove(inMemory("file"));
}

void writeFileLibrary(benchmark::State &state)
{
    const QString path = inMemory("file");
    writing(state, [&] { return FileManager::writeFile(dataOf(state.range(0)), path); });
}

void writeFilePlain(benchmark::State &state)
{
    const QByteArray path = QFile::encodeName(inMemory("file"));
    writing(state, [&] { return writePlain(dataOf(state.range(0)), path.constData()); });
}

template <typename Operation>
void reading(benchmark::State &state, Operation read)
{
    writePlain(dataOf(state.range(0)), QFile::encodeName(inMemory("file")).constData());
    for (auto _ : state) {
        if (read().size() != state.range(0))
            state.SkipWithError("the file cannot be read");
    }
    QFile::remove(inMemory("file"));
}

void readFileLibrary(benchmark::State &state)
{
    const QString path = inMemory("file");
    reading(state, [&] { return FileManager::readFile(path); });
}

void readFilePlain(benchmark::State &state)
{
    const QByteArray path = QFile::encodeName(inMemory("file"));
    reading(state, [&] { return readPlain(path.constData()); });
}

void sizes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->Arg(100)->Arg(100'000)->Arg(100'000'000)->UseRealTime();
}

BENCHMARK(writeFileLibrary)->Name("writeFile/library")->Apply(sizes);
BENCHMARK(writeFilePlain)->Name("writeFile/plain")->Apply(sizes);
BENCHMARK(readFileLibrary)->Name("readFile/library")->Apply(sizes);
BENCHMARK(readFilePlain)->Name("readFile/plain")->Apply(sizes);

QMap<QString, QVariantMap> configOf(qint64 keys)
{
    QVariantMap group;
    for (qint64 i = 0; i < keys; ++i)
        group.insert(QStringLiteral("key%1").arg(i), QStringLiteral("value of %1").arg(i));
    return {{QStringLiteral("group"), group}};
}

template <typename Operation>
void writingIni(benchmark::State &state, Operation write)
{
    const auto config = configOf(state.range(0));
    QFile::remove(inMemory("ini"));
    for (auto _ : state)
        write(config);
    if (FileManager::readSettingFile(inMemory("ini"), QStringLiteral("group")).size() !=
        state.range(0))
        state.SkipWithError("the file cannot be written");
}

void writeIniLibrary(benchmark::State &state)
{
    writingIni(state, [](const QMap<QString, QVariantMap> &config) {
        FileManager::writeIniConfigFile(config, inMemory("ini"));
    });
}

void writeIniPlain(benchmark::State &state)
{
    writingIni(state, [](const QMap<QString, QVariantMap> &config) {
        QSettings settings(inMemory("ini"), QSettings::IniFormat);
        settings.setIniCodec("UTF-8");
        for (auto group = config.cbegin(); group != config.cend(); ++group) {
            settings.beginGroup(group.key());
            for (auto entry = group->cbegin(); entry != group->cend(); ++entry)
                settings.setValue(entry.key(), entry.value());
            settings.endGroup();
        }
        settings.sync();
    });
}

/// Moves the file's time stamp before each reading. Otherwise QSettings would use its copy of a
/// small file.
template <typename Operation>
void readingIni(benchmark::State &state, Operation read)
{
    QFile::remove(inMemory("ini"));
    FileManager::writeIniConfigFile(configOf(state.range(0)), inMemory("ini"));
    const QByteArray path = QFile::encodeName(inMemory("ini"));
    timespec times[] = {{0, UTIME_OMIT}, {1, 0}};
    for (auto _ : state) {
        ++times[1].tv_sec;
        const bool moved = utimensat(AT_FDCWD, path.constData(), times, 0) == 0;
        const auto begin = std::chrono::steady_clock::now();
        const QMap<QString, QString> values = read();
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
        state.SetIterationTime(time.count());
        if (!moved || values.size() != state.range(0))
            state.SkipWithError("the file cannot be read");
    }
}

void readIniLibrary(benchmark::State &state)
{
    readingIni(state, [] {
        return FileManager::readSettingFile(inMemory("ini"), QStringLiteral("group"));
    });
}

void readIniPlain(benchmark::State &state)
{
    readingIni(state, [] {
        QSettings settings(inMemory("ini"), QSettings::IniFormat);
        settings.setIniCodec("UTF8");
        settings.beginGroup(QStringLiteral("group"));
        QMap<QString, QString> values;
        const QStringList keys = settings.allKeys();
        for (const QString &key : keys)
            values.insert(key, settings.value(key, QString()).toString());
        return values;
    });
}

void keys(benchmark::internal::Benchmark *benchmark)
{
    benchmark->RangeMultiplier(10)->Range(10, 100'000);
}

BENCHMARK(writeIniLibrary)->Name("writeIni/library")->Apply(keys)->UseRealTime();
BENCHMARK(writeIniPlain)->Name("writeIni/plain")->Apply(keys)->UseRealTime();
BENCHMARK(readIniLibrary)->Name("readIni/library")->Apply(keys)->UseManualTime();
BENCHMARK(readIniPlain)->Name("readIni/plain")->Apply(keys)->UseManualTime();

} // namespace
