# Sourced by test.sh: steps side by side.
# shellcheck shell=bash
#
# There are two lanes: "busy" for what a processor works on from beginning to end, "waiting" for what mostly waits for
# programs to start, to end or to run out of time. A lane has fewer places while the other one has something to do, so
# that what waits is not starved by what works.

declare -A queue=([busy]='' [waiting]='') running=([busy]=0 [waiting]=0) lane_of=()
processors=$(nproc)
started=0

# later LANE COMMAND...: a step for run_steps. Steps of a lane start in the order in which they come here, so the longest
# should come first.
later() {
    local lane=$1 command
    shift
    printf -v command '%q ' "$@"
    queue[$lane]+=$command$'\n'
}

# The places of a lane.
places() {
    local other=busy alone=$processors beside=$((processors > 1 ? processors - 1 : 1))
    if [ "$1" = waiting ]; then alone=$((3 * processors)) beside=$((2 * processors)); fi
    [ "$1" = busy ] && other=waiting
    if [ -n "${queue[$other]}" ] || [ "${running[$other]}" -gt 0 ]; then printf %d "$beside"; else printf %d "$alone"; fi
}

# Runs in a process of its own, so nothing that a step does to this shell concerns another one.
run_step() {
    passed=0 failed=0 mark=$SECONDS
    eval "$1"
    printf '%s %s\n' "$passed" "$failed" >"$2.counts"
}

start_steps() {
    local lane=$1 command output
    while [ -n "${queue[$lane]}" ] && [ "${running[$lane]}" -lt "$(places "$lane")" ]; do
        command=${queue[$lane]%%$'\n'*}
        queue[$lane]=${queue[$lane]#*$'\n'}
        output=$RESULTS/step_$((++started))
        run_step "$command" "$output" >"$output" 2>&1 </dev/null &
        lane_of[$!]=$lane
        output_of[$!]=$output
        running[$lane]=$((running[$lane] + 1))
    done
}

# end_step PROCESS: shows what it said and adds up what it counted. One that broke off is a failure.
end_step() {
    local lane=${lane_of[$1]} output=${output_of[$1]} more_passed=0 more_failed=1
    clear_time
    cat "$output"
    if [ -s "$output.counts" ]; then
        read -r more_passed more_failed <"$output.counts"
    else
        say "FAIL  a step broke off"
    fi
    passed=$((passed + more_passed)) failed=$((failed + more_failed))
    running[$lane]=$((running[$lane] - 1))
    unset "lane_of[$1]" "output_of[$1]"
}

# Runs everything that is queued. What a step says stands together, at its end.
run_steps() {
    local ended
    declare -A output_of=()
    while start_steps waiting && start_steps busy && [ ${#lane_of[@]} -gt 0 ]; do
        wait -n -p ended "${!lane_of[@]}" || true
        end_step "$ended"
    done
}
