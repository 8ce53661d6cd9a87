# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0
#
# shellcheck shell=bash

# Makes a small project with the presets "dev" and "other" and no language in $project, and copies the
# given scripts to it. Nothing is installed there: the set that is asked for is noted.
make_project()
{
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    project=$scratch/project
    mkdir -p "$project/scripts"
    cp "$@" "$project/scripts"
    # shellcheck disable=SC2016 # expands there
    printf '#!/bin/sh\necho "$@" >>"%s/asked"\n' "$scratch" >"$project/scripts/install-packages"
    chmod +x "$project/scripts/install-packages"
    cat >"$project/CMakePresets.json" <<'JSON'
{
  "version": 3,
  "configurePresets": [
    { "name": "dev", "generator": "Ninja", "binaryDir": "${sourceDir}/build/${presetName}" },
    { "name": "other", "inherits": "dev" }
  ],
  "buildPresets": [
    { "name": "dev", "configurePreset": "dev" },
    { "name": "other", "configurePreset": "other" }
  ],
  "testPresets": [
    { "name": "dev", "configurePreset": "dev" },
    { "name": "other", "configurePreset": "other" }
  ]
}
JSON
}

# What CMakeLists.txt has after its first lines.
project_has()
{
    printf '%s\n' 'cmake_minimum_required(VERSION 3.21)' 'project(small LANGUAGES NONE)' \
        'enable_testing()' "$@" >"$project/CMakeLists.txt"
}
