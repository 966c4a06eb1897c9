# Sourced by the demonstrations after common.sh: the product on a Windows machine, step by step, and the last line.
# shellcheck shell=bash

folder='C:\Program Files\Moorlak'
# What went wrong on the way, and what was not put back.
failures=()
problems=()
# Processes of ours to end at the end.
helpers=()

# build_for_demo TARGET...: the release build and the engine, quietly.
build_for_demo() {
    mkdir -p "$BUILD"
    install_packages
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
tunnel_is_over() { [ "$(status_field running)" = false ]; }
service_answers() { ctl ping | grep -q answered; }
service_is_stopped() { wine sc query MoorlakTunnel | grep -q STOPPED; }

# Engines of this prefix, and of no other: their environment names it.
engine_runs() {
    local process
    for process in /proc/[0-9]*; do
        grep -qsE 'xray\.exe|tun2socks\.exe' "$process/cmdline" &&
            grep -qszx "WINEPREFIX=$prefix" "$process/environ" && return 0
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

start_service() {
    wine sc create MoorlakTunnel "binPath=" "\"$folder\\moorlak_service.exe\"" >/dev/null
    wine sc start MoorlakTunnel >/dev/null
    wait_for 30 service_answers || { failures+=("the service did not answer"); exit 0; }
    say "the service runs under the service control manager and answers: $(ctl ping)"
}

stop_service() {
    wine sc stop MoorlakTunnel >/dev/null
    wait_for 60 service_is_stopped || problems+=("the service did not stop")
    wine sc delete MoorlakTunnel >/dev/null
}

# The last line, whatever came before it. RESTORED tells what was looked at.
conclude() {
    local status=$? helper
    trap - EXIT
    for helper in "${helpers[@]}"; do kill "$helper" 2>/dev/null || true; done
    end_prefix "$prefix" >/dev/null 2>&1
    [ "$status" -eq 0 ] || problems+=("the demonstration broke off, so nobody looked")
    [ ${#failures[@]} -eq 0 ] || say "it did not all work: $(printf '%s; ' "${failures[@]}")"
    if [ ${#problems[@]} -eq 0 ]; then
        say "Everything was put back: $RESTORED"
        [ ${#failures[@]} -eq 0 ]
        exit
    fi
    say "NOT everything was put back: $(printf '%s; ' "${problems[@]}")"
    exit 1
}
