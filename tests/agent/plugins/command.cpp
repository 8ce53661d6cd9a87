// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include <syncstatus/utils.h>

#include <cstdio>

// Runs the command in the environment's TEST_COMMAND when the library is loaded, and tells what it
// has written.
__attribute__((constructor)) static void runCommand()
{
    QString output;
    const bool done = utility::Utils::executeCmd(qEnvironmentVariable("TEST_COMMAND"), output);
    std::printf("command: %s\n", done ? qPrintable('"' + output.trimmed() + '"') : "failed");
    std::fflush(stdout);
}
