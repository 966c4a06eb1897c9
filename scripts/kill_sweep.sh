#!/usr/bin/env bash
# The service is killed at its n-th change of the simulated machine, for every n, and started again; the machine must be
# as before. Prints every point with the change, and at the end how many failed, with what was not restored.
#   kill_sweep.sh [--path tun2socks|native] [--before] [--reboot] [--double] [--stored] [--cold] [--taken]
#     --before     the service dies instead of making the change, after what it wrote in advance
#     --reboot     the machine restarts before the service does
#     --double     the start after the death is killed, too, at each of its changes
#     --stored     `route DELETE` leaves stored copies of what it deletes
#     --cold       the first netsh of the next start take longer than the service allows
#     --taken      tun2socks takes the service's adapter; otherwise it makes its own after a while, as most do
#     --every K    only each K-th change of the session
#     --point N    only this one (with --double: with all deaths of its recovery)
#     --jobs J     that many prefixes in parallel, at most 8 (default 4)
#     --name NAME  of the prefixes in the build folder (kill_sweep)
#     --binaries FOLDER  a finished build; without it the release build is made
source "$(dirname "$0")/common.sh"

usage() {
    sed -n '2,/^source/{/^#/s/^# \{0,1\}//p}' "$0"
    exit 2
}

words='' jobs=4 name=kill_sweep binaries=''
while [ $# -gt 0 ]; do
    case $1 in
    --path)
        case ${2:-} in native) words+=' native' ;; tun2socks) ;; *) usage ;; esac
        shift
        ;;
    --before | --reboot | --double | --stored | --cold | --taken) words+=" ${1#--}" ;;
    --every | --point) words+=" ${1#--}=${2:?}" && shift ;;
    --jobs) jobs=${2:?} && shift ;;
    --name) name=${2:?} && shift ;;
    --binaries) binaries=${2:?} && shift ;;
    *) usage ;;
    esac
    shift
done
# A single point needs only one job.
case $words in *point=*) jobs=1 ;; esac

folder=$BUILD/results/$name
rm -rf "$folder"
mkdir -p "$folder"
take_binaries moorlak_session_tests "$binaries"
wine_template >/dev/null

pids=()
for ((job = 0; job < jobs; job++)); do
    MOORLAK_KILL_SWEEP=$words GTEST_TOTAL_SHARDS=$jobs GTEST_SHARD_INDEX=$job "$ROOT/scripts/run_session_tests.sh" \
        "$BUILD/prefixes/${name}_$job" "$binaries" "$engine" '--gtest_filter=*KillSweep*' \
        >"$folder/$job.log" 2>&1 &
    pids+=($!)
done
tail -q -n +1 -F "$folder"/[0-9]*.log 2>/dev/null > >(grep --line-buffered '^point ') &
follower=$!
status=0
for pid in "${pids[@]}"; do wait "$pid" || status=1; done
kill "$follower"

# A session that ended normally is a run, but not a point.
points=$(cat "$folder"/[0-9]*.log | grep '^point ' | grep -vc ': the end: ' || true)
failures=$(cat "$folder"/[0-9]*.log | grep -c '^point .*, NOT RESTORED' || true)
say
awk '/^point .*, NOT RESTORED/ { shown = 1; print; next } /^  [-+o]/ && shown { print; next } { shown = 0 }' \
    "$folder"/[0-9]*.log | tr -d '\r'
say "$points points, $failures failed"
# Other failures of a run are in its log.
[ "$status" -eq 0 ] || { [ "$failures" -gt 0 ] || say "a run failed for another reason, see $folder"; exit 1; }
for ((job = 0; job < jobs; job++)); do rm -rf "$BUILD/prefixes/${name}_$job"; done
