// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Loading a plugin in a fresh process, up to the end of its start.

// BENCHMARK makes a static object.
// clazy:excludeall=non-pod-global-static

#include "spawn.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

void load(benchmark::State &state, const std::string &plugin)
{
    const std::string command = BUILD_FOLDER "/benchmarks/loadhost '" + plugin + "'";
    for (auto _ : state) {
        const auto printed = numbersPrintedBy(command);
        if (printed.size() != 2) {
            state.SkipWithError("the plugin is not loaded");
            break;
        }
        state.SetIterationTime(printed[0] / 1e9);
        state.counters["kilobytes"] = printed[1];
    }
}

BENCHMARK_CAPTURE(load, library, measuredBuild() + "/lib/libsyncstatus.so")
    ->Name("loading/library")
    ->UseManualTime();
BENCHMARK_CAPTURE(load, empty, BUILD_FOLDER "/benchmarks/libemptyplugin.so")
    ->Name("loading/empty")
    ->UseManualTime();
BENCHMARK_CAPTURE(load, linked, BUILD_FOLDER "/benchmarks/libemptyplugin_linked.so")
    ->Name("loading/linked")
    ->UseManualTime();

} // namespace
