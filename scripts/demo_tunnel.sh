#!/usr/bin/env bash
# A whole session on the simulated machine, with every step printed as it happens; see ./run.
#   demo_tunnel.sh [--native-tun] [my-config.json]
source "$(dirname "$0")/common.sh"
source "$ROOT/scripts/lab.sh"
source "$ROOT/scripts/demo_common.sh"

native=
if [ "${1:-}" = --native-tun ]; then
    native=1
    shift
fi
config=${1:-}
if [ -n "$config" ]; then
    [ -r "$config" ] || { say "cannot read $config"; exit 2; }
    config=$(readlink -f "$config")
fi

# A loopback interface of its own, which carries the server's address: nothing of this leaves the machine.
server=203.0.113.7
if [ -z "${MOORLAK_OWN_LOOPBACK:-}" ]; then
    build_for_demo moorlak_service moorlakctl labctl $LAB_TARGETS
    exec env MOORLAK_OWN_LOOPBACK=1 unshare --net --fork --kill-child -- bash -c \
        "ip link set lo up && ip addr add $server/32 dev lo && exec \"\$@\"" bash "$0" ${native:+--native-tun} ${config:+"$config"}
fi

say "booting a simulated Windows machine (a Wine prefix with stand-ins at the system's boundary)"
prefix=$BUILD/prefixes/demo
end_prefix "$prefix"
clone_prefix "$prefix"
lab_install_session "$prefix" "$BUILD/windows-release" "$BUILD/engine" 2>>"$BUILD/demo.log"
export WINEPREFIX=$prefix
labctl "$prefix" create >/dev/null 2>&1

work=$prefix/demo
mkdir -p "$work"
RESTORED="the machine as before, no engine, no staged file, no recovery file."
bytes_are_counted() { [ "$(status_field down)" -ge 8388608 ]; }
dump() { labctl "$prefix" show 2>/dev/null | tr -d '\r'; }
# Without what the own adapter keeps because each session sets it anew (docs/known-issues.md): its settings, stored
# routes of its own network, its network's name.
restored_part() {
    awk '/^[^ ]/ { own = /^adapter "Moorlak"/ } !own || /^[^ ]/' |
        grep -v -e 'on "Moorlak" .*stored only$' -e '^  "Moorlak Network" on'
}
machine_is_restored() { [ "$(dump | restored_part)" = "$(restored_part <"$work/before")" ]; }
trap conclude EXIT

"$BUILD/engine/web" serve -portfile "$work/port" >/dev/null &
helpers+=($!)
wait_for 10 test -s "$work/port"
web=127.0.0.1:$(cat "$work/port")
printf '{"httpPort": %s}' "${web##*:}" | labctl "$prefix" edit >/dev/null 2>&1
"$BUILD/engine/web" freeport >"$work/server_port"
user=7c9e6a1e-2d0f-4f4e-9a39-5b1f0c8d3e21
cat >"$work/server.json" <<JSON
{ "log": { "loglevel": "warning" },
  "inbounds": [ { "listen": "$server", "port": $(cat "$work/server_port"), "protocol": "vmess",
                  "settings": { "clients": [ { "id": "$user", "alterId": 0 } ] } } ],
  "outbounds": [ { "protocol": "freedom", "settings": { "redirect": "$web" } } ] }
JSON
"$WINE" 'C:\moorlak-server\server.exe' -config "Z:${work//\//\\}\\server.json" >"$work/server.log" 2>&1 &
helpers+=($!)
say "a VPN server listens on $server:$(cat "$work/server_port"), and behind it a web server plays the internet"

if [ -z "$config" ]; then
    config=$work/config.json
    "$BUILD/engine/web" freeport >"$work/socks"
    apps=
    [ -z "$native" ] || apps='"__moorlak_blocked_apps": ["C:\\\\Program Files\\\\Games\\\\game.exe"],'
    cat >"$config" <<JSON
{
  "moorlakMeta": { $apps
    "panelHost": "198.51.100.20", "directDomains": ["198.51.100.30"], "bypassSubnets": ["172.16.0.0/12"] },
  "log": { "loglevel": "warning" },
  "inbounds": [ { "tag": "in_proxy", "listen": "127.0.0.1", "port": $(cat "$work/socks"), "protocol": "socks",
                  "settings": { "auth": "noauth", "udp": true } } ],
  "outbounds": [
    { "tag": "proxy", "protocol": "vmess", "settings": { "vnext": [ { "address": "$server",
      "port": $(cat "$work/server_port"), "users": [ { "id": "$user", "alterId": 0, "security": "auto" } ] } ] } },
    { "tag": "direct", "protocol": "freedom" } ]
}
JSON
fi

start_service
dump >"$work/before"
say "the machine before:"
sed 's/^/    /' "$work/before"

say "starting the tunnel; the tunnel log as it is written:"
ctl start "Z:${config//\//\\}" >"$work/client.log" &
tunnel_client=$!
helpers+=("$tunnel_client")
log=$prefix/drive_c/ProgramData/Moorlak/logs/tunnel.log
tail -n +1 -F "$log" 2>/dev/null | sed -u -e '/IPC \(server\|ping\|status\)/d' -e 's/\r$//' -e 's/^/    /' &
helpers+=($!)

if wait_for 90 tunnel_is_up; then
    say "the tunnel is up: $(ctl status)"
    read -r way port < <(labctl "$prefix" egress download.example.com 2>/dev/null | tr -d '\r')
    say "a download of a user's now leaves by: $way"
    [ "$way" = tunnel ] || failures+=("a download would not go through the tunnel")
    "$BUILD/engine/web" fetch -socks "127.0.0.1:$port" http://download.example.com/bytes/8388608 \
        >"$work/large.json" 2>"$work/page.err" &
    download=$!
    wait "$download" || failures+=("the download failed: $(cat "$work/page.err")")
    say "8 MiB through the tunnel: $(cat "$work/large.json")"
    say "status: $(ctl status)"
    wait_for 20 bytes_are_counted || failures+=("the traffic was not counted")
    say "status: $(ctl status)"
    say "the machine while protected, what differs:"
    diff "$work/before" <(dump) | sed 's/^/    /' || true
else
    say "the tunnel did not come up; the client says:"
    sed 's/^/    /' "$work/client.log"
    # Yours may lead elsewhere than to this machine's loopback.
    [ -n "${1:-}" ] && [ "$config" != "$work/config.json" ] || failures+=("the tunnel did not come up")
fi

ctl stop >/dev/null
wait "$tunnel_client" || true
say "stopped: $(ctl status)"
wait_for 20 machine_is_restored || true
dump >"$work/after"
say "before and after:"
if difference=$(diff <(restored_part <"$work/before") <(restored_part <"$work/after")); then
    say "    no difference (left out: what the own adapter keeps, docs/known-issues.md)"
else
    problems+=("the machine differs")
    printf '%s\n' "$difference"
fi
stop_service
[ -z "$(find "$prefix/drive_c/ProgramData" -name '*_restore.v1')" ] || problems+=("a recovery file is left")
[ -z "$(find "$prefix/drive_c" -path '*flutter_vless*' -name '*.json')" ] || problems+=("a staged file is left")
! engine_runs || problems+=("an engine still runs")
labctl "$prefix" unknown >/dev/null 2>&1 || problems+=("a command was not understood")
say "the tunnel log is $log"
