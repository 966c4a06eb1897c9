# Sourced by test.sh: the kinds of steps, and the counting.
# shellcheck shell=bash

passed=0
failed=0
RESULTS=$BUILD/results
rm -rf "$RESULTS"
mkdir -p "$RESULTS"

# " [N s]": the time since the last one.
mark=$SECONDS
took() {
    printf -v took ' [%d s]' $((SECONDS - mark))
    mark=$SECONDS
}

# A build step that fails ends the run: nothing after it would mean anything.
step() {
    local title=$1 log
    shift
    log=$RESULTS/${title//[ \/]/_}.log
    say "== $title"
    if ! "$@" >"$log" 2>&1; then
        tail -n 60 "$log"
        say "$passed passed, $((failed + 1)) failed"
        exit 1
    fi
    took
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
        tail -n 60 "$log"
        say "FAIL  $title"
    fi
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
    if [ "$status" -ne 0 ] && [ "$failures" -eq 0 ]; then failures=1 tests=$((tests + 1)); fi
    [ "$tests" -gt 0 ] || { failures=1 tests=1; say "no test ran: $title"; }
    passed=$((passed + tests - failures))
    failed=$((failed + failures))
    if [ "$failures" -eq 0 ]; then
        took
        say "ok    $title: $tests tests$took$([ "$ignored" -eq 0 ] || printf ', %s skipped' "$ignored")"
    else
        grep -vE '^\[ (RUN|      OK)|^\[---' "$log" | tail -n 120
        say "FAIL  $title: $failures of $tests tests"
    fi
}

native_suite() {
    local title=$1 program=$BUILD/$2 name=native_${2##*/} status=0
    "$program" --gtest_output="json:$RESULTS/$name.json" >"$RESULTS/$name.log" 2>&1 || status=$?
    count "$title" "$RESULTS/$name.json" "$RESULTS/$name.log" "$status"
}

# wine_suite TITLE PROGRAM [checked]: "checked" has Wine check the heap, which makes large texts very slow; what runs
# natively under ASan as well goes without.
wine_suite() {
    local title=$1 program=$BUILD/$2 name=wine_${2##*/} status=0 prefix
    prefix=$BUILD/prefixes/$name
    clone_prefix "$prefix"
    [ "${3:-}" != checked ] || check_heaps "$prefix" "${program##*/}"
    WINEPREFIX=$prefix timeout 900 "$WINE" "$program" --gtest_output="json:Z:${RESULTS//\//\\}\\$name.json" \
        >"$RESULTS/$name.log" 2>&1 || status=$?
    end_prefix "$prefix"
    rm -rf "$prefix"
    count "$title" "$RESULTS/$name.json" "$RESULTS/$name.log" "$status"
}

# sharded_suite TITLE NAME SHARDS COMMAND...: a test program in several shards side by side. Each has a prefix of its own,
# which takes the place of the word PREFIX in the command.
sharded_suite() {
    local title=$1 suite=$2 shards=$3 shard name status pids=()
    shift 3
    for ((shard = 0; shard < shards; shard++)); do
        name=${suite}_$shard
        GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$shard timeout 2400 "${@/#PREFIX/$BUILD/prefixes/$name}" \
            --gtest_output="json:Z:${RESULTS//\//\\}\\$name.json" >"$RESULTS/$name.log" 2>&1 &
        pids+=($!)
    done
    for ((shard = 0; shard < shards; shard++)); do
        name=${suite}_$shard
        status=0
        wait "${pids[$shard]}" || status=$?
        rm -rf "$BUILD/prefixes/$name"
        count "$title ($((shard + 1)) of $shards)" "$RESULTS/$name.json" "$RESULTS/$name.log" "$status"
    done
}

machine_suite() {
    sharded_suite "$1" machine "$2" "$ROOT/scripts/run_machine_tests.sh" "$BUILD/windows-release" "$BUILD/engine" PREFIX
}

adversary_suite() {
    sharded_suite "$1" adversary "$2" "$ROOT/scripts/run_adversary_tests.sh" "$BUILD/windows-release" "$BUILD/engine" PREFIX
}

network_suite() {
    sharded_suite "$1" network "$2" "$ROOT/scripts/run_network_tests.sh" PREFIX "$BUILD/windows-debug"
}

# Sessions mostly wait, so there may be more shards than processors.
session_suite() {
    sharded_suite "$1" session "$2" "$ROOT/scripts/run_session_tests.sh" PREFIX "$BUILD/windows-release" "$BUILD/engine"
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
    check "fuzz $target, $runs runs" "$BUILD/fuzz/tests/fuzz/$target" -seed=1 -runs="$runs" -max_len=4096 \
        -artifact_prefix="$RESULTS/" "${arguments[@]}"
}

# Builds the replay programs and gives each its seed corpus.
replay_corpora() {
    cmake --build "$BUILD/$1" --target config_meta_fuzzer vpn_config_fuzzer engine_counters_fuzzer \
        dns_restore_fuzzer smhnr_restore_fuzzer ipconfig_fuzzer file_settings_fuzzer object_trust_fuzzer
    (cd "$BUILD/$1" && ctest --output-on-failure -R '_replay$' --no-tests=error)
}

finish() {
    say "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
}
