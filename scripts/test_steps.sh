# Sourced by test.sh: the kinds of steps, and the counting.
# shellcheck shell=bash

passed=0
failed=0
RESULTS=$BUILD/results
rm -rf "$RESULTS"
mkdir -p "$RESULTS"

# How long the last whole or quick run took that passed, in seconds.
LAST_RUN=$BUILD/last_run_whole

# clock SECONDS: "12:05".
clock() { printf '%d:%02d' $(($1 / 60)) $(($1 % 60)); }

# Before something is said: removes the line with the time.
clear_time() { [ ! -t 1 ] || printf '\e[K'; }

# On a terminal, keeps a last line with the time so far until the end.
show_time() {
    [ -t 1 ] || return 0
    local last=
    [ ! -s "$LAST_RUN" ] || last=$(<"$LAST_RUN")
    while sleep 1; do
        printf '%s%s\e[K\r' "$(clock "$SECONDS")" "${last:+, the last run took $(clock "$last")}"
    done &
    trap "kill $! 2>/dev/null; clear_time" EXIT
}

# " [N s]": the time since the step began.
mark=$SECONDS
took() {
    seconds=$((SECONDS - mark))
    printf -v took ' [%d s]' "$seconds"
    mark=$SECONDS
}

# note_time TITLE: for the table at the end, in which the shards of a suite are one line.
note_time() { printf '%s\t%s\n' "$seconds" "$1" >>"$RESULTS/times"; }

# A build step that fails ends the run: nothing after it would mean anything.
step() {
    local title=$1 log
    shift
    log=$RESULTS/${title//[ \/]/_}.log
    clear_time
    say "== $title"
    if ! "$@" >"$log" 2>&1; then
        clear_time
        tail -n 60 "$log"
        say "$passed passed, $((failed + 1)) failed"
        exit 1
    fi
    took
    note_time "$title"
    clear_time
    say "   done$took"
}

build_preset() {
    local preset=$1
    shift
    (cd "$ROOT" && cmake --preset "$preset" -B "$BUILD/$preset")
    cmake --build "$BUILD/$preset" --target "$@"
}

# A check counts as one test.
check() {
    local title=$1 log
    shift
    log=$RESULTS/${title//[ \/]/_}.log
    if "$@" >"$log" 2>&1; then
        passed=$((passed + 1))
        took
        say "ok    $title$took"
    else
        failed=$((failed + 1))
        took
        tail -n 60 "$log"
        say "FAIL  $title$took"
    fi
    note_time "$title"
}

# count TITLE JSON LOG EXITCODE: adds up what GoogleTest reported. A program that ended without a report, or with an
# error although no test failed, is one more failure.
count() {
    local title=$1 json=$2 log=$3 status=$4 tests=0 failures=0 ignored=0
    if [ -s "$json" ]; then
        read -r tests failures ignored < <(jq -r '
            [.testsuites[].testsuite[]] as $t
            | "\([$t[] | select(.result == "COMPLETED")] | length) \([$t[] | select(.failures)] | length) \([$t[] | select(.result == "SKIPPED")] | length)"' "$json")
    fi
    if [ "$status" -ne 0 ] && [ "$failures" -eq 0 ]; then
        failures=1 tests=$((tests + 1))
        say "the program ended with $status; the test that began last: $(grep -a '^\[ RUN' "$log" | tail -n 1)"
    fi
    [ "$tests" -gt 0 ] || { failures=1 tests=1; say "no test ran: $title"; }
    passed=$((passed + tests - failures))
    failed=$((failed + failures))
    took
    note_time "${title% (*}"
    if [ "$failures" -eq 0 ]; then
        say "ok    $title: $tests tests$took$([ "$ignored" -eq 0 ] || printf ', %s skipped' "$ignored")"
    else
        grep -vE '^\[ (RUN|      OK)|^\[---' "$log" | tail -n 120
        say "FAIL  $title: $failures of $tests tests$took"
    fi
}

# A suite that has passed leaves a file here: it contains the number of its tests and has the time at which it began.
# make's rule decides whether that still counts.
PASSED=$BUILD/passed
mkdir -p "$PASSED"

# made_since STAMP FOLDER: what is newer: a program or library in the build's folder or of the engine, the Wine prefix, a
# script, or a test's file. Sources need not be asked: what is built from them would be newer.
made_since() {
    local programs=("$BUILD/$2") files=("$ROOT/scripts" "$ROOT/tests")
    [ ! -d "$BUILD/engine" ] || programs+=("$BUILD/engine")
    [ ! -d "$BUILD/wine-template" ] || files+=("$BUILD/wine-template/.prepared")
    find "${programs[@]}" -maxdepth 6 -type f \( -name '*.exe' -o -name '*.dll' -o -name '*_tests' \) -newer "$1" -print -quit
    find "${files[@]}" -type f ! -name '*.cpp' ! -name '*.h' -newer "$1" -print -quit
}

# has_passed NAME FOLDER: whether the suite passed with what it would run with now.
has_passed() { [ -z "${again:-}" ] && [ -s "$PASSED/$1" ] && [ -z "$(made_since "$PASSED/$1" "$2")" ]; }

# shard TITLE NAME INDEX SHARDS FOLDER COMMAND...: a share of a test program's tests. The programs are in the build's
# FOLDER. The word PREFIX in the command is a Wine prefix of its own, the word JSON asks for the report, the word
# WINDOWS_JSON asks a Windows program for it.
shard() {
    local title=$1 name=$2_$3 stamp=$2_$3_of_$4 folder=$5 status=0 failed_before=$failed passed_before=$passed
    export GTEST_SHARD_INDEX=$3 GTEST_TOTAL_SHARDS=$4
    [ "$4" -eq 1 ] || title+=" ($(($3 + 1)) of $4)"
    shift 5
    if has_passed "$stamp" "$folder"; then
        passed=$((passed + $(<"$PASSED/$stamp")))
        say "same  $title: $(<"$PASSED/$stamp") tests passed at $(date -r "$PASSED/$stamp" '+%F %T'), and nothing has changed since"
        return
    fi
    rm -f "$PASSED/$stamp"
    touch "$RESULTS/$name.began"
    set -- "${@/#PREFIX/$BUILD/prefixes/$name}"
    set -- "${@/#WINDOWS_JSON/--gtest_output=json:Z:$RESULTS/$name.json}"
    timeout 2400 "${@/#JSON/--gtest_output=json:$RESULTS/$name.json}" >"$RESULTS/$name.log" 2>&1 || status=$?
    rm -rf "$BUILD/prefixes/$name"
    count "$title" "$RESULTS/$name.json" "$RESULTS/$name.log" "$status"
    [ "$failed" -eq "$failed_before" ] || return 0
    echo $((passed - passed_before)) >"$PASSED/$stamp"
    touch -r "$RESULTS/$name.began" "$PASSED/$stamp"
}

# shards LANE TITLE NAME SHARDS FOLDER COMMAND...: all of them, to be run.
shards() {
    local lane=$1 title=$2 name=$3 count=$4 index
    shift 4
    for ((index = 0; index < count; index++)); do later "$lane" shard "$title" "$name" "$index" "$count" "$@"; done
}

# native_suite TITLE PROGRAM [SHARDS]
native_suite() {
    shards busy "$1" "native_${2##*/}" "${3:-1}" "${2%%/*}" "$BUILD/$2" JSON
}

# wine_suite LANE TITLE PROGRAM [checked]: "checked" has Wine check the heap, which makes large texts very slow; what runs
# natively under ASan as well goes without.
wine_suite() {
    shards "$1" "$2" "wine_${3##*/}" 1 "${3%%/*}" "$ROOT/scripts/run_unit_tests.sh" PREFIX "$BUILD/$3" "${4:-}" WINDOWS_JSON
}

machine_suite() {
    shards waiting "$1" machine "$2" windows-release "$ROOT/scripts/run_machine_tests.sh" "$BUILD/windows-release" "$BUILD/engine" PREFIX WINDOWS_JSON
}

adversary_suite() {
    shards waiting "$1" adversary "$2" windows-release "$ROOT/scripts/run_adversary_tests.sh" "$BUILD/windows-release" "$BUILD/engine" PREFIX WINDOWS_JSON
}

network_suite() {
    shards waiting "$1" network "$2" windows-debug "$ROOT/scripts/run_network_tests.sh" PREFIX "$BUILD/windows-debug" WINDOWS_JSON
}

session_suite() {
    shards waiting "$1" session "$2" windows-release "$ROOT/scripts/run_session_tests.sh" PREFIX "$BUILD/windows-release" "$BUILD/engine" WINDOWS_JSON
}

# fuzz_smoke TARGET [RUNS]: a short run with a fixed seed, enough to see that a target builds, starts and holds on what
# it has always held on. libFuzzer writes what it finds into the first folder, so the seed corpus is given as the second.
fuzz_smoke() {
    local target=$1 runs=${2:-50000} seeds=$ROOT/tests/fuzz/corpus/$1 dictionary=$ROOT/tests/fuzz/$1.dict arguments=()
    rm -rf "$RESULTS/corpus_$target"
    mkdir -p "$RESULTS/corpus_$target"
    [ ! -e "$dictionary" ] || arguments+=("-dict=$dictionary")
    arguments+=("$RESULTS/corpus_$target")
    [ ! -d "$seeds" ] || arguments+=("$seeds")
    later busy check "fuzz $target, $runs runs" "$BUILD/fuzz/tests/fuzz/$target" -seed=1 -runs="$runs" -max_len=4096 \
        -artifact_prefix="$RESULTS/" "${arguments[@]}"
}

# Gives each replay program its seed corpus.
replay_corpora() {
    (cd "$BUILD/$1" && ctest --output-on-failure -R '_replay$' --no-tests=error)
}

# The steps' times, the longest first.
show_times() {
    clear_time
    say ""
    awk -F '\t' '{ seconds[$2] += $1; shards[$2]++ }
        END { for (title in seconds) printf "%6d s  %s%s\n", seconds[title], title,
            (shards[title] > 1 ? ", the sum of " shards[title] : "") }' "$RESULTS/times" | sort -rn
    printf '%6d s  in all\n' "$SECONDS"
}

finish() {
    show_times
    say "$passed passed, $failed failed"
    [ "$failed" -eq 0 ] || return 1
    echo "$SECONDS" >"$LAST_RUN"
}
