// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include <QCoreApplication>
#include <QLoggingCategory>

#include <benchmark/benchmark.h>

// The library's lines are off unless a benchmark turns them on: their cost depends on Qt and on the
// receiver.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent=false"));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
