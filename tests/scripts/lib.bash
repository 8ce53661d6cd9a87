# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0
#
# shellcheck shell=bash

# Runs every function whose name begins with "test_". Exits with 1 if one of them failed.
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

# For a failure before the first test.
cannot_begin()
{
    printf 'FAIL!  : %s\n' "$*"
    exit 1
}

fail()
{
    printf 'FAIL!  : %s: %s\n' "$current" "$*"
    failed=1
}

same()
{
    [ "$1" = "$2" ] && return
    printf 'FAIL!  : %s\n   Actual  : %s\n   Expected: %s\n' "$current" "$1" "$2"
    failed=1
}

# In the words of Qt's tests, in which scripts/test finds the reason.
skip() { echo "SKIP   : $current: $*"; }

# Waits until a command succeeds. The test fails if that takes over a minute.
until_true()
{
    local deadline=$((SECONDS + 60))
    until "$@"; do
        [ $SECONDS -lt $deadline ] || { fail "waited in vain for: $*"; return 1; }
        sleep 0.05
    done
}
