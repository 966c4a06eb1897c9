#!/usr/bin/env bash
# soak_session.sh [CYCLES [BINARIES ENGINE]]: so many sessions (200), each stopped as soon as it is up, in turns on both
# paths, on one service that is not restarted; prints its private memory, handles and threads every 20 cycles. A cycle
# takes some ten seconds. Without BINARIES and ENGINE it builds what it needs.
source "$(dirname "$0")/common.sh"

cycles=${1:-200} binaries=${2:-} engine=${3:-$BUILD/engine}
if [ -z "$binaries" ]; then
    binaries=$BUILD/windows-release
    (cd "$ROOT" && cmake --preset windows-release -B "$binaries") >/dev/null
    cmake --build "$binaries" --target moorlak_session_tests >/dev/null
    "$ROOT/scripts/build_engine.sh" "$engine" >/dev/null
fi
prefix=$BUILD/prefixes/soak_session
status=0
MOORLAK_SOAK_CYCLES=$cycles "$ROOT/scripts/run_session_tests.sh" "$prefix" "$binaries" "$engine" \
    --gtest_filter='SessionSoakOfAPlainHeap.LeavesTheServiceAsItWas' || status=$?
rm -rf "$prefix"
exit "$status"
