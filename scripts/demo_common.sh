# Sourced by the demonstrations after common.sh: runs the product on a Windows machine, step by step, and prints the
# last line.
# shellcheck shell=bash

folder='C:\Program Files\Moorlak'
# With another name a demonstration does not collide with one that runs at the same time.
name=${MOORLAK_DEMO_NAME:-demo}
prefix=$BUILD/prefixes/$name
work=$BUILD/$name
log=$prefix/drive_c/ProgramData/Moorlak/logs/tunnel.log
# What failed on the way, and what was not restored.
failures=()
problems=()
# Our processes to end at the end.
helpers=()
# Set once everything has been checked.
looked=

# The only argument of a demonstration: the user's configuration, or none.
own_file() {
    [ $# -le 1 ] || { say "one configuration at most, not $#"; exit 2; }
    [ $# -eq 1 ] || return 0
    [ -r "$1" ] && [ ! -d "$1" ] || { say "cannot read $1"; exit 2; }
    config=$(readlink -f "$1")
}

# build_for_demo TARGET...: builds the release build and the engine, quietly.
build_for_demo() {
    mkdir -p "$BUILD"
    say "building the service and its client"
    { (cd "$ROOT" && cmake --preset windows-release -B "$BUILD/windows-release") &&
        cmake --build "$BUILD/windows-release" --target "$@"; } >"$BUILD/demo.log" 2>&1 ||
        { tail -n 40 "$BUILD/demo.log"; exit 1; }
    say "building a real engine (first time: about a minute)"
    "$ROOT/scripts/build_engine.sh" "$BUILD/engine" >>"$BUILD/demo.log" 2>&1 ||
        { tail -n 40 "$BUILD/demo.log"; exit 1; }
}

# A Windows program's output as Linux text. Its exit code is ignored; callers check its effect.
wine() { "$WINE" "$@" 2>/dev/null | tr -d '\r' || true; }
ctl() { wine "$folder\\moorlakctl.exe" "$@"; }
status_field() { ctl status --json | jq -r ".$1"; }
tunnel_is_up() { [ "$(status_field tunnel)" = true ]; }
service_answers() { ctl ping | grep -q answered; }
service_is_stopped() { wine sc query MoorlakTunnel | grep -q STOPPED; }

# program_runs PATTERN: whether it runs in this prefix; a program's environment names the prefix.
program_runs() {
    local process
    for process in /proc/[0-9]*; do
        grep -qsE "$1" "$process/cmdline" && grep -qszx "WINEPREFIX=$prefix" "$process/environ" && return 0
    done
    return 1
}

# wait_for LIMIT_SECONDS COMMAND...: repeats the command until it succeeds.
wait_for() {
    local end=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -lt $end ] || return 1
        sleep 0.2
    done
}

# ended PROCESS: whether this process of our shell has ended.
ended() { ! kill -0 "$1" 2>/dev/null; }
end_helpers() {
    local helper
    for helper in "${helpers[@]}"; do kill "$helper" 2>/dev/null || true; done
}

start_service() {
    wine sc create MoorlakTunnel "binPath=" "\"$folder\\moorlak_service.exe\"" >/dev/null
    wine sc start MoorlakTunnel >/dev/null
    wait_for 30 service_answers || { failures+=("the service did not answer"); exit 1; }
    say "the service runs under the service control manager and answers: $(ctl ping)"
}

stop_service() {
    wine sc stop MoorlakTunnel >/dev/null
    wait_for 60 service_is_stopped || problems+=("the service did not stop")
    wine sc delete MoorlakTunnel >/dev/null
}

# As a service, the product has no standard error to which it could copy its engine's output.
keep_engine_log() {
    local settings="$prefix/drive_c/Program Files/Moorlak/xray/engine_faults.json" text
    text=$(jq '.logFile = "C:\\engine.log"' "$settings")
    printf '%s\n' "$text" >"$settings"
}

show_engine_logs() {
    local file
    for file in "$prefix/drive_c/engine.log" "$work/server.log"; do
        say "the end of ${file##*/}:"
        tail -n 12 "$file" 2>/dev/null | tr -d '\r' | sed 's/^/    /' || true
    done
}

# start_web: starts the web server that plays the internet; its address is in $web.
start_web() {
    rm -f "$work/port"
    "$BUILD/engine/web" serve -portfile "$work/port" >/dev/null &
    helpers+=($!)
    wait_for 30 test -s "$work/port"
    web=127.0.0.1:$(cat "$work/port")
}

# start_session WORDS...: starts the client with the shown configuration; its process is in $client. The client owns the
# session.
start_session() {
    "$WINE" "$folder\\moorlakctl.exe" start "$@" "Z:${work//\//\\}\\config.json" >"$work/client.log" 2>&1 &
    client=$!
    helpers+=("$client")
}
session_is_up_or_over() { tunnel_is_up || ended "$client"; }

# stop_session: also ends the client.
stop_session() {
    ctl stop >/dev/null
    wait "$client" || true
    say "stopped: $(ctl status)"
}

# The client's own output; lines of the tunnel log begin with their time.
client_words() { tr -d '\r' <"$work/client.log" | grep -avE '^20[0-9-]+ [0-9:]+ ' || true; }

# The service's errors, or else the client's last line.
session_failure() {
    local reason
    reason=$({ tr -d '\r' <"$log" | grep -ao 'ERROR: .*' | awk 'NR > 1 { printf " / " } { printf "%s", $0 }'; } 2>/dev/null || true)
    [ -n "$reason" ] || reason=$(client_words | grep -v '^The whole log' | tail -n 1)
    printf '%s' "$reason"
}

# Commands that the service could not start, or that failed.
note_lost_commands() {
    local lost
    lost=$({ tr -d '\r' <"$log" | grep -aoE 'CMD (spawn fail|exit=|timeout|fail).*'; } 2>/dev/null || true)
    [ -z "$lost" ] || failures+=("commands were lost, $(wc -l <<<"$lost") of them: $(head -n 1 <<<"$lost")")
}

# joined WORDS...: joins them to one text.
joined() {
    local text
    printf -v text '%s; ' "$@"
    printf '%s' "${text%; }"
}

# Prints the last line, whatever happened before. RESTORED says what was checked.
conclude() {
    local status=$? verdict
    trap - EXIT
    end_helpers
    end_prefix "$prefix" >/dev/null 2>&1
    note_lost_commands
    [ -n "$looked" ] || problems+=("nobody looked, as the demonstration broke off with $status")
    verdict="Everything was put back: $RESTORED"
    [ ${#problems[@]} -eq 0 ] || verdict="NOT everything was put back: $(joined "${problems[@]}")."
    [ ${#failures[@]} -eq 0 ] || verdict="It did NOT all work: $(joined "${failures[@]}"). $verdict"
    say "$verdict"
    [ $((${#problems[@]} + ${#failures[@]})) -eq 0 ]
    exit
}
