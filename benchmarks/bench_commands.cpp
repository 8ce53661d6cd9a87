// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include "spawn.h"

#include <syncstatus/utils.h>

#include <QString>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <string>

namespace {

const char manyBytes[] = "head -c 100000000 /dev/zero";

void shortCommandLibrary(benchmark::State &state)
{
    QString output;
    // "true" prints nothing, so its result does not show whether it has run.
    if (!utility::Utils::executeCmd(QStringLiteral("echo"), output))
        state.SkipWithError("commands cannot be run");
    for (auto _ : state)
        benchmark::DoNotOptimize(utility::Utils::executeCmd(QStringLiteral("true"), output));
}

void shortCommandPlain(benchmark::State &state)
{
    for (auto _ : state) {
        if (spawnAndWait({"bash", "-c", "true", nullptr}) != 0)
            state.SkipWithError("the command fails");
    }
}

void longOutputLibrary(benchmark::State &state)
{
    QString output;
    for (auto _ : state) {
        utility::Utils::executeCmd(QLatin1String(manyBytes), output);
        if (output.size() != 100'000'000)
            state.SkipWithError("not all of the output came");
    }
}

void longOutputPlain(benchmark::State &state)
{
    for (auto _ : state) {
        std::string output;
        std::array<char, 65536> buffer;
        std::FILE *const pipe = popen(manyBytes, "r");
        while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), pipe))
            output.append(buffer.data(), size);
        pclose(pipe);
        if (output.size() != 100'000'000)
            state.SkipWithError("not all of the output came");
    }
}

BENCHMARK(shortCommandLibrary)->Name("command/library")->UseRealTime();
BENCHMARK(shortCommandPlain)->Name("command/plain")->UseRealTime();
BENCHMARK(longOutputLibrary)->Name("commandOutput/library")->UseRealTime();
BENCHMARK(longOutputPlain)->Name("commandOutput/plain")->UseRealTime();

} // namespace
