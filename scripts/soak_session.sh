#!/usr/bin/env bash
# soak_session.sh [CYCLES [BINARIES ENGINE]]: CYCLES sessions (default 200), each stopped as soon as it is up, on both
# paths in turn, on one service that is not restarted; prints its private memory, handles and threads every 20 cycles. A
# cycle takes about ten seconds. Without BINARIES and ENGINE it builds what it needs.
source "$(dirname "$0")/common.sh"

cycles=${1:-200}
take_binaries moorlak_session_tests "${@:2}"
prefix=$BUILD/prefixes/soak_session
status=0
MOORLAK_SOAK_CYCLES=$cycles "$ROOT/scripts/run_session_tests.sh" "$prefix" "$binaries" "$engine" \
    --gtest_filter='SessionSoakOfAPlainHeap.LeavesTheServiceAsItWas' || status=$?
rm -rf "$prefix"
exit "$status"
