// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// How fast a log without encrypted texts passes through.

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include "inmemory.h"
#include "spawn.h"

#include <QByteArray>
#include <QFile>

#include <benchmark/benchmark.h>

namespace {

constexpr int logSize = 512'000'000;

void writeLog()
{
    const QByteArray line("Nov 21 10:15:04 host syncstatus-agent[812]: "
                          "org.corvel.license.agent: codestack:  getNetworkState: true\n");
    QFile log(inMemory("log"));
    if (log.open(QIODevice::WriteOnly)) {
        const QByteArray lines = line.repeated(10'000);
        while (log.size() < logSize)
            log.write(lines);
    }
}

void scan(benchmark::State &state, const std::vector<const char *> &command, int expected)
{
    static const bool written = (writeLog(), true);
    benchmark::DoNotOptimize(written);
    const QByteArray log = QFile::encodeName(inMemory("log"));
    std::vector<const char *> arguments = command;
    arguments.insert(arguments.end(), {log.constData(), nullptr});
    for (auto _ : state) {
        if (spawnAndWait(arguments) != expected)
            state.SkipWithError("the command fails");
    }
}

void library(benchmark::State &state)
{
    const std::string program = measuredBuild() + "/bin/syncstatus-logread";
    scan(state, {program.c_str(), "--key", BUILD_FOLDER "/logkey/private.pem"}, 0);
}

void grep(benchmark::State &state)
{
    setenv("LC_ALL", "C", 1);
    scan(state, {"grep", "-F", "LicenseLogEncryptSign"}, 1);
}

BENCHMARK(library)->Name("logread/library")->UseRealTime();
BENCHMARK(grep)->Name("logread/grep")->UseRealTime();

} // namespace
