#!/usr/bin/env bash
# soak_heap.sh [SESSIONS [BINARIES ENGINE]]: so many sessions (50), each on a service of its own that is stopped behind it
# and must end with 0, with every heap of the prefix checked (WINEDEBUG=warn+heap). A line for each; Wine's messages go
# to build/soak_heap.err, because the checks are off when standard error is /dev/null. A session takes some ten seconds.
# Without BINARIES and ENGINE it builds what it needs.
export WINEDEBUG=warn+heap
source "$(dirname "$0")/common.sh"

sessions=${1:-50}
take_binaries moorlak_session_tests "${@:2}"
prefix=$BUILD/prefixes/soak_heap
status=0
MOORLAK_SOAK_CYCLES=$sessions "$ROOT/scripts/run_session_tests.sh" "$prefix" "$binaries" "$engine" \
    --gtest_filter='SessionSoak.EveryServiceEndsAndNoneDies' 2>"$BUILD/soak_heap.err" || status=$?
rm -rf "$prefix"
exit "$status"
