# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0
#
# shellcheck shell=bash

# Runs every function whose name begins with "test_" and ends with 1 when one of them failed.
run_tests()
{
    local name
    failed=0
    for name in $(compgen -A function test_); do
        current=${name#test_}
        "$name"
        echo "done   : $current"
    done
    exit $failed
}

same()
{
    [ "$1" = "$2" ] && return
    printf 'FAIL!  : %s\n   Actual  : %s\n   Expected: %s\n' "$current" "$1" "$2"
    failed=1
}
