# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0
#
# shellcheck shell=bash

# Copies scripts/test, the scripts that it uses and the given helpers to a small project in $project.
# There, nothing is installed.
#   make_project SCRIPTS-FOLDER [HELPER...]
make_project()
{
    local from=$1 helper
    shift
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    project=$scratch/project
    mkdir -p "$project/scripts/helpers"
    cp "$from/test" "$project/scripts"
    for helper in build contain progress "$@"; do
        cp "$from/helpers/$helper" "$project/scripts/helpers"
    done
    ln -s /bin/true "$project/scripts/helpers/install-packages"
}

# The rest of CMakeLists.txt, after its first lines.
project_has()
{
    rm -rf "$project/build"
    printf '%s\n' 'cmake_minimum_required(VERSION 3.18)' 'project(small LANGUAGES NONE)' \
        'enable_testing()' "$@" >"$project/CMakeLists.txt"
}

# Runs a script of the project. Its output is in $said.
# shellcheck disable=SC2034 # used by the tests
run_script()
{
    said=$("$project/scripts/$1" "${@:2}" 2>&1)
    status=$?
}
