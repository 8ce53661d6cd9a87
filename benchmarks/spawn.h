// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef SPAWN_H
#define SPAWN_H

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

/// The build folder of the measured library: this one, unless scripts/bench --compare names
/// another.
inline std::string measuredBuild()
{
    const char *const other = std::getenv("SYNCSTATUS_MEASURED_BUILD");
    return other ? other : BUILD_FOLDER;
}

/// Runs a program from PATH with its standard output to /dev/null. Returns its exit status, or -1.
/// \a arguments begin with the program and end with null.
inline int spawnAndWait(const std::vector<const char *> &arguments)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    int status = -1;
    if (posix_spawnp(&child, arguments.front(), &actions, nullptr,
                     const_cast<char **>(arguments.data()), environ) == 0)
        waitpid(child, &status, 0);
    posix_spawn_file_actions_destroy(&actions);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Runs a shell command and returns the numbers that it prints, or none if it fails.
inline std::vector<double> numbersPrintedBy(const std::string &command)
{
    std::vector<double> numbers;
    std::FILE *const pipe = popen(command.c_str(), "r");
    for (double number = 0; std::fscanf(pipe, "%lf", &number) == 1;)
        numbers.push_back(number);
    return pclose(pipe) == 0 ? numbers : std::vector<double>();
}

#endif
