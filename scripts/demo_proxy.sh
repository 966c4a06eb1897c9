#!/usr/bin/env bash
# The service in proxy mode, end to end, with every step printed as it happens; see ./run.
source "$(dirname "$0")/common.sh"

config=${1:-}
if [ -n "$config" ]; then
    [ -r "$config" ] || { say "cannot read $config"; exit 2; }
    config=$(readlink -f "$config")
fi
mkdir -p "$BUILD"
install_packages
say "building the service and its client"
{ (cd "$ROOT" && cmake --preset windows-release -B "$BUILD/windows-release") &&
    cmake --build "$BUILD/windows-release" --target moorlak_service moorlakctl; } >"$BUILD/demo.log" 2>&1 ||
    { tail -n 40 "$BUILD/demo.log"; exit 1; }
say "building a real engine (first time: about a minute)"
"$ROOT/scripts/build_engine.sh" "$BUILD/engine" >>"$BUILD/demo.log" 2>&1 || { tail -n 40 "$BUILD/demo.log"; exit 1; }
say "making a Windows machine (Wine prefix)"
prefix=$BUILD/prefixes/demo
end_prefix "$prefix"
clone_prefix "$prefix"
install_product "$prefix" "$BUILD/windows-release" "$BUILD/engine"
export WINEPREFIX=$prefix

folder='C:\Program Files\Moorlak'
work=$prefix/demo
mkdir -p "$work"
# What went wrong on the way, and what was not put back.
failures=()
problems=()
page_server=
tunnel_client=

# A Windows program's output as Linux text. Whether it succeeded shows in what it changes.
wine() { "$WINE" "$@" 2>/dev/null | tr -d '\r' || true; }
ctl() { wine "$folder\\moorlakctl.exe" "$@"; }
settings='HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings'
proxy_settings() { wine reg query "$settings" /s; }
system_proxy() { wine reg query "$settings" /v ProxyServer | sed -n 's/.*REG_SZ *//p'; }
status_field() { ctl status --json | jq -r ".$1"; }

tunnel_is_up() { [ "$(status_field tunnel)" = true ]; }
proxy_is_set() { system_proxy | grep -q 'socks=localhost:'; }
bytes_are_counted() { [ "$(status_field down)" -ge 5242880 ]; }
service_answers() { ctl ping | grep -q answered; }
service_is_stopped() { wine sc query MoorlakTunnel | grep -q STOPPED; }

# Engines of this prefix, and of no other: their environment names it.
engine_runs() {
    local process
    for process in /proc/[0-9]*; do
        grep -qs 'xray\.exe' "$process/cmdline" && grep -qszx "WINEPREFIX=$prefix" "$process/environ" && return 0
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

# The last line, whatever came before it.
conclude() {
    local status=$?
    trap - EXIT
    [ -z "$tunnel_client" ] || kill "$tunnel_client" 2>/dev/null || true
    [ -z "$page_server" ] || kill "$page_server" 2>/dev/null || true
    end_prefix "$prefix" >/dev/null 2>&1
    [ "$status" -eq 0 ] || problems+=("the demonstration broke off, so nobody looked")
    [ ${#failures[@]} -eq 0 ] || say "it did not all work: $(printf '%s; ' "${failures[@]}")"
    if [ ${#problems[@]} -eq 0 ]; then
        say "Everything was put back: system proxy as before, no engine, no staged file."
        [ ${#failures[@]} -eq 0 ]
        exit
    fi
    say "NOT everything was put back: $(printf '%s; ' "${problems[@]}")"
    exit 1
}
trap conclude EXIT

"$BUILD/engine/web" serve -portfile "$work/port" >/dev/null &
page_server=$!
wait_for 10 test -s "$work/port"
page=http://127.0.0.1:$(cat "$work/port")
say "a web server serves $page on loopback"

if [ -z "$config" ]; then
    config=$work/config.json
    # A port that was free a moment ago: the demonstration must not collide with a proxy of yours.
    "$BUILD/engine/web" freeport >"$work/socks"
    cat >"$config" <<JSON
{
  "log": { "loglevel": "warning" },
  "inbounds": [
    { "tag": "in_proxy", "listen": "127.0.0.1", "port": $(cat "$work/socks"), "protocol": "socks",
      "settings": { "udp": false } }
  ],
  "outbounds": [ { "tag": "proxy", "protocol": "freedom" } ]
}
JSON
fi

proxy_settings >"$work/proxy.before"
wine sc create MoorlakTunnel "binPath=" "\"$folder\\moorlak_service.exe\"" >/dev/null
wine sc start MoorlakTunnel >/dev/null
wait_for 30 service_answers || { failures+=("the service did not answer"); exit 0; }
say "the service runs under the service control manager and answers: $(ctl ping)"

ctl start --proxy "Z:${config//\//\\}" >"$work/client.log" &
tunnel_client=$!
if wait_for 30 tunnel_is_up && wait_for 30 proxy_is_set; then
    say "proxy mode is up: $(ctl status)"
    say "the system proxy is now $(system_proxy)"
    # A look that does not find the engine now would prove nothing by finding none later.
    engine_runs || failures+=("the engine was not seen running")
    socks=127.0.0.1:$(system_proxy | sed -n 's/.*socks=localhost:\([0-9]*\).*/\1/p')
    # An engine listens a moment after its start; the system proxy is set half a second later.
    if "$BUILD/engine/web" fetch -socks "$socks" "$page/" >"$work/page.json" 2>"$work/page.err" &&
        "$BUILD/engine/web" fetch -socks "$socks" "$page/bytes/5242880" >"$work/large.json" 2>"$work/page.err"; then
        say "a page through the engine:  $(cat "$work/page.json")"
        say "5 MiB through the engine:   $(cat "$work/large.json")"
        wait_for 20 bytes_are_counted || failures+=("the traffic was not counted")
    else
        say "no page came through this configuration: $(cat "$work/page.err")"
        # Yours may lead elsewhere than to this machine's loopback.
        [ -n "${1:-}" ] || failures+=("no page came through")
    fi
    say "status shows the bytes:     $(ctl status)"
else
    say "proxy mode did not come up; the client says:"
    cat "$work/client.log"
    failures+=("proxy mode did not come up")
fi

ctl stop >/dev/null
wait "$tunnel_client" || true
tunnel_client=
say "stopped: $(ctl status)"
wine sc stop MoorlakTunnel >/dev/null
wait_for 30 service_is_stopped || problems+=("the service did not stop")
wine sc delete MoorlakTunnel >/dev/null

proxy_settings >"$work/proxy.after"
difference=$(diff "$work/proxy.before" "$work/proxy.after") || problems+=("the system proxy differs: $difference")
[ ! -e "$prefix/drive_c/ProgramData/Moorlak/proxy_restore.v1" ] || problems+=("a restore file is left")
[ -z "$(find "$prefix/drive_c" -path '*flutter_vless*' -name '*.json')" ] || problems+=("a staged file is left")
! engine_runs || problems+=("an engine still runs")
say "the tunnel log is $prefix/drive_c/ProgramData/Moorlak/logs/tunnel.log"
