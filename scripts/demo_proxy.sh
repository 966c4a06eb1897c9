#!/usr/bin/env bash
# The service in proxy mode, end to end, with every step printed as it happens; see ./run --proxy.
source "$(dirname "$0")/common.sh"
source "$ROOT/scripts/demo_common.sh"

config=${1:-}
if [ -n "$config" ]; then
    [ -r "$config" ] || { say "cannot read $config"; exit 2; }
    config=$(readlink -f "$config")
fi
build_for_demo moorlak_service moorlakctl
say "making a Windows machine (Wine prefix)"
prefix=$BUILD/prefixes/demo
end_prefix "$prefix"
clone_prefix "$prefix"
install_product "$prefix" "$BUILD/windows-release" "$BUILD/engine"
export WINEPREFIX=$prefix

work=$prefix/demo
mkdir -p "$work"
RESTORED="system proxy as before, no engine, no staged file."
settings='HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings'
proxy_settings() { wine reg query "$settings" /s; }
system_proxy() { wine reg query "$settings" /v ProxyServer | sed -n 's/.*REG_SZ *//p'; }
proxy_is_set() { system_proxy | grep -q 'socks=localhost:'; }
bytes_are_counted() { [ "$(status_field down)" -ge 5242880 ]; }
trap conclude EXIT

"$BUILD/engine/web" serve -portfile "$work/port" >/dev/null &
helpers+=($!)
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
start_service

ctl start --proxy "Z:${config//\//\\}" >"$work/client.log" &
tunnel_client=$!
helpers+=("$tunnel_client")
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
say "stopped: $(ctl status)"
stop_service

proxy_settings >"$work/proxy.after"
difference=$(diff "$work/proxy.before" "$work/proxy.after") || problems+=("the system proxy differs: $difference")
[ ! -e "$prefix/drive_c/ProgramData/Moorlak/proxy_restore.v1" ] || problems+=("a restore file is left")
[ -z "$(find "$prefix/drive_c" -path '*flutter_vless*' -name '*.json')" ] || problems+=("a staged file is left")
! engine_runs || problems+=("an engine still runs")
say "the tunnel log is $prefix/drive_c/ProgramData/Moorlak/logs/tunnel.log"
