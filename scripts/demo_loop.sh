#!/usr/bin/env bash
# Runs ./run several times, each time on a new machine, to see whether a run loses a command.
#   demo_loop.sh [RUNS [WORDS OF ./run...]]    50 without RUNS
# Prints the last line of each run; keeps the output of a run that failed.
source "$(dirname "$0")/common.sh"

runs=${1:-50}
[ $# -eq 0 ] || shift
export MOORLAK_DEMO_NAME=demo_loop
folder=$BUILD/results/demo_loop
rm -rf "$folder"
mkdir -p "$folder"
failed=0
for ((run = 1; run <= runs; run++)); do
    begin=$SECONDS status=0
    "$ROOT/run" "$@" </dev/null >"$folder/$run.log" 2>&1 || status=$?
    say "$run: exit code $status after $((SECONDS - begin)) s: $(tail -n 1 "$folder/$run.log")"
    if [ "$status" -eq 0 ]; then rm "$folder/$run.log"; else failed=$((failed + 1)); fi
done
say "$runs runs, $failed failed"
[ "$failed" -eq 0 ]
