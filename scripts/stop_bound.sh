#!/usr/bin/env bash
# stop_bound.sh [BINARIES ENGINE]: how long the service takes to end while every command hangs, in each state of a
# session; fails if that is 40 s or more. Without BINARIES and ENGINE it builds what it needs. Takes a few minutes, nearly
# all of them waiting.
source "$(dirname "$0")/common.sh"

take_binaries moorlak_session_tests "$@"
prefix=$BUILD/prefixes/stop_bound
status=0
MOORLAK_STOP_BOUND=1 "$ROOT/scripts/run_session_tests.sh" "$prefix" "$binaries" "$engine" --gtest_filter='StopBound.*' | tee "$prefix.log" || status=$?
rm -rf "$prefix"
echo
echo "| state | end of the service |"
echo "|---|---|"
sed -n 's/^stop bound //p' "$prefix.log" | tr -d '\r' | sed 's/$/ |/'
rm -f "$prefix.log"
exit "$status"
