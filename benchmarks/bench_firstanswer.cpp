// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// From nothing to the first answer, as whole programs, on the NetworkManager that is there: to be
// run by scripts/sandbox.

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
        if (spawnAndWait({program.c_str(), nullptr}) != 0) {
            state.SkipWithError("does not find this machine online");
            break;
        }
    }
}

const bool registered = [] {
    const std::string programs = BUILD_FOLDER "/benchmarks/answer_";
    for (const char *name : {"syncstatus", "plaincalls", "networkmanagerqt", "gnetworkmonitor",
                             "qnetworkconfigurationmanager"}) {
        benchmark::RegisterBenchmark((std::string("firstAnswer/") + name).c_str(), firstAnswer,
                                     programs + name)
            ->UseRealTime();
    }
    return true;
}();

} // namespace
