# Sourced by the demonstrations after common.sh: the product on a Windows machine, step by step, and the last line.
# shellcheck shell=bash

folder='C:\Program Files\Moorlak'
# Another name keeps a demonstration apart from one that runs beside it.
name=${MOORLAK_DEMO_NAME:-demo}
prefix=$BUILD/prefixes/$name
work=$BUILD/$name
log=$prefix/drive_c/ProgramData/Moorlak/logs/tunnel.log
# What went wrong on the way, and what was not put back.
failures=()
problems=()
# Processes of ours to end at the end.
helpers=()
# Set when everything was looked at.
looked=

# The one word that a demonstration may have: the user's configuration, or nothing.
own_file() {
    [ $# -le 1 ] || { say "one configuration at most, not $#"; exit 2; }
    [ $# -eq 1 ] || return 0
    [ -r "$1" ] && [ ! -d "$1" ] || { say "cannot read $1"; exit 2; }
    config=$(readlink -f "$1")
}

# build_for_demo TARGET...: the release build and the engine, quietly.
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

# A Windows program's output as Linux text. Whether it succeeded shows in what it changes.
wine() { "$WINE" "$@" 2>/dev/null | tr -d '\r' || true; }
ctl() { wine "$folder\\moorlakctl.exe" "$@"; }
status_field() { ctl status --json | jq -r ".$1"; }
tunnel_is_up() { [ "$(status_field tunnel)" = true ]; }
service_answers() { ctl ping | grep -q answered; }
service_is_stopped() { wine sc query MoorlakTunnel | grep -q STOPPED; }

# program_runs PATTERN: in this prefix, and in no other: a program's environment names it.
program_runs() {
    local process
    for process in /proc/[0-9]*; do
        grep -qsE "$1" "$process/cmdline" && grep -qszx "WINEPREFIX=$prefix" "$process/environ" && return 0
    done
    return 1
}

# wait_for LIMIT_SECONDS COMMAND...: until it succeeds.
wait_for() {
    local end=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -lt $end ] || return 1
        sleep 0.2
    done
}

# ended PROCESS: of this shell.
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

# start_web: what plays the internet; its address in $web.
start_web() {
    rm -f "$work/port"
    "$BUILD/engine/web" serve -portfile "$work/port" >/dev/null &
    helpers+=($!)
    wait_for 30 test -s "$work/port"
    web=127.0.0.1:$(cat "$work/port")
}

# start_session WORDS...: the client with what is to be shown; its process in $client. The session belongs to it.
start_session() {
    "$WINE" "$folder\\moorlakctl.exe" start "$@" "Z:${work//\//\\}\\config.json" >"$work/client.log" 2>&1 &
    client=$!
    helpers+=("$client")
}
session_is_up_or_over() { tunnel_is_up || ended "$client"; }

# stop_session: ends the client too.
stop_session() {
    ctl stop >/dev/null
    wait "$client" || true
    say "stopped: $(ctl status)"
}

# What the client said of its own; lines of the tunnel log begin with their time.
client_words() { tr -d '\r' <"$work/client.log" | grep -avE '^20[0-9-]+ [0-9:]+ ' || true; }

# What the service complained of, else what the client said last.
session_failure() {
    local reason
    reason=$({ tr -d '\r' <"$log" | grep -ao 'ERROR: .*' | awk 'NR > 1 { printf " / " } { printf "%s", $0 }'; } 2>/dev/null || true)
    [ -n "$reason" ] || reason=$(client_words | grep -v '^The whole log' | tail -n 1)
    printf '%s' "$reason"
}

# Commands that the service could not start, or that did not do what they were to do.
note_lost_commands() {
    local lost
    lost=$({ tr -d '\r' <"$log" | grep -aoE 'CMD (spawn fail|exit=|timeout|fail).*'; } 2>/dev/null || true)
    [ -z "$lost" ] || failures+=("commands were lost, $(wc -l <<<"$lost") of them: $(head -n 1 <<<"$lost")")
}

# joined WORDS...: one text.
joined() {
    local text
    printf -v text '%s; ' "$@"
    printf '%s' "${text%; }"
}

# The last line, whatever came before it. RESTORED tells what was looked at.
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
