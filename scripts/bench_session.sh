#!/usr/bin/env bash
# bench_session.sh [RUNS [BINARIES ENGINE]]: how much of a connect's and a disconnect's time the service itself takes,
# step by step, as markdown tables, from RUNS sessions (default 5) on each path of the simulated machine. Without
# BINARIES and ENGINE it builds what it needs. Run it on an idle machine.
source "$(dirname "$0")/common.sh"

runs=${1:-5}
take_binaries moorlak_session_bench "${@:2}"
prefix=$BUILD/prefixes/bench_session
status=0
MOORLAK_BENCH_RUNS=$runs MOORLAK_SESSION_PROGRAM=moorlak_session_bench "$ROOT/scripts/run_session_tests.sh" \
    "$prefix" "$binaries" "$engine" || status=$?
rm -rf "$prefix"
exit "$status"
