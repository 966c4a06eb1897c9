#!/usr/bin/env bash
# soak_heap.sh [SESSIONS [BINARIES ENGINE]]: SESSIONS sessions (default 50), each on its own service, which is stopped
# afterwards and must exit with 0, with all heaps of the prefix checked (WINEDEBUG=warn+heap). Prints one line each;
# Wine's messages go to build/soak_heap.err, because the checks are off when standard error is /dev/null. A session
# takes about ten seconds. Without BINARIES and ENGINE it builds what it needs.
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
