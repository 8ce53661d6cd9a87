// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// The first answer in a running process. Uses the NetworkManager of the system
// bus: run it in scripts/sandbox.

#include "spawn.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

namespace {

void firstAnswer(benchmark::State &state, const std::string &program)
{
    setenv("QT_LOGGING_RULES", "*=false", 1);
    if (!std::filesystem::exists(program)) {
        state.SkipWithError("not built: its development package is not installed");
        return;
    }
    for (auto _ : state) {
        const auto printed = numbersPrintedBy(program);
        if (printed.size() != 1) {
            state.SkipWithError("does not find this machine online");
            break;
        }
        state.SetIterationTime(printed[0] / 1e9);
    }
}

const bool registered = [] {
    const std::string programs = BUILD_FOLDER "/benchmarks/answer_";
    for (const char *name : {"library", "plaincalls", "networkmanagerqt", "gnetworkmonitor",
                             "qnetworkconfigurationmanager"}) {
        benchmark::RegisterBenchmark((std::string("firstAnswer/") + name).c_str(), firstAnswer,
                                     programs + name)
            ->UseManualTime();
    }
    return true;
}();

} // namespace
