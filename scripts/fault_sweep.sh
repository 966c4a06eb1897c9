#!/usr/bin/env bash
# fault_sweep.sh [BINARIES ENGINE]: each system call of a session fails once, in turn, on both paths; as many slices in
# parallel as there are processors (MOORLAK_SHARDS for another number). Prints every point and the failures, and takes
# hours. MOORLAK_FAULT_SWEEP: "slow" (engines make their own adapters, with a delay), "stored" (`route DELETE` leaves
# stored copies), or both. Without BINARIES and ENGINE it builds what it needs.
source "$(dirname "$0")/common.sh"

shards=${MOORLAK_SHARDS:-$(nproc)}
take_binaries moorlak_session_tests "$@"
logs=$BUILD/results/fault_sweep
mkdir -p "$logs"
pids=()
for ((shard = 0; shard < shards; shard++)); do
    MOORLAK_FULL_SWEEP=1 GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$shard "$ROOT/scripts/run_session_tests.sh" \
        "$BUILD/prefixes/fault_sweep_$shard" "$binaries" "$engine" --gtest_filter='*FaultSweep*' \
        >"$logs/$shard.log" 2>&1 &
    pids+=($!)
done
status=0
for ((shard = 0; shard < shards; shard++)); do
    wait "${pids[$shard]}" || status=1
    rm -rf "$BUILD/prefixes/fault_sweep_$shard"
done
cat "$logs"/*.log | tr -d '\r' >"$logs/all"
grep -aE ', call [0-9]+: ' "$logs/all" | sort -t, -k1,1 -k2.7n
grep -aE ': [0-9]+ points$' "$logs/all" | awk -F: '{n[$1] += $2} END {for (path in n) print path ": " n[path] " points"}'
say "$(grep -aE ', call [0-9]+: ' "$logs/all" | grep -cv '; fine$' || true) failed"
exit "$status"
