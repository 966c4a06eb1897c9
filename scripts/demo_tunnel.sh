#!/usr/bin/env bash
# A whole session on the simulated machine, with every step printed as it happens; see ./run.
#   demo_tunnel.sh [--native-tun] [my-config.json]
# MOORLAK_DEMO_FAULT may contain the words of a `labctl fault`, to see the demonstration report it.
source "$(dirname "$0")/common.sh"
source "$ROOT/scripts/lab.sh"
source "$ROOT/scripts/demo_common.sh"
source "$ROOT/scripts/demo_config.sh"

words=("$@") native='' config=''
if [ "${1:-}" = --native-tun ]; then
    native=1
    shift
fi
own_file "$@"
if [ -z "${MOORLAK_OWN_NETWORK:-}" ]; then
    install_packages
    read_config "$config" vpn
    build_for_demo moorlak_service moorlakctl labctl $LAB_TARGETS
fi
own_network "$0" "${words[@]}"

say "booting a simulated Windows machine (a Wine prefix with stand-ins at the system's boundary)"
raise_network
end_prefix "$prefix"
clone_prefix "$prefix"
lab_install_session "$prefix" "$BUILD/windows-release" "$BUILD/engine" 2>>"$BUILD/demo.log"
keep_engine_log
export WINEPREFIX=$prefix
labctl "$prefix" create >/dev/null 2>&1

RESTORED="the machine as before, no engine, no staged file, no recovery file."
bytes_are_counted() { [ "$(status_field down)" -ge 8388608 ]; }
dump() { labctl "$prefix" show 2>/dev/null | tr -d '\r'; }
# Without what our own adapter keeps because each session sets it again (docs/known-issues.md): its settings, the stored
# routes of its own network, its network's name.
restored_part() {
    awk '/^[^ ]/ { own = /^adapter "Moorlak"/ } !own || /^[^ ]/' |
        grep -v -e 'on "Moorlak" .*stored only$' -e '^  "Moorlak Network" on'
}
machine_is_restored() { [ "$(dump | restored_part)" = "$(restored_part <"$work/before")" ]; }

start_web
printf '{"httpPort": %s}' "${web##*:}" | labctl "$prefix" edit >/dev/null 2>&1
[ -z "$native" ] || add_bypassing_application
start_server "$web"
say "a web server plays the internet behind it"
# shellcheck disable=SC2086
[ -z "${MOORLAK_DEMO_FAULT:-}" ] || labctl "$prefix" fault $MOORLAK_DEMO_FAULT >/dev/null

# On a real machine the engine's own connections must not go into the tunnel that they carry.
look_at_ways_to_servers() {
    local server way
    for server in $(planned '[.servers[].ip] | unique[]'); do
        way=$(labctl "$prefix" egress "$server" 2>/dev/null | tr -d '\r')
        say "the engine's connection to its server $server leaves by: ${way%% *}"
        [ "${way%% *}" = direct ] || failures+=("the engine's connection to $server would leave by the tunnel itself")
    done
}

trap conclude EXIT
start_service
dump >"$work/before"
say "the machine before:"
sed 's/^/    /' "$work/before"

say "starting the tunnel; the tunnel log as it is written:"
tail -n +1 -F "$log" 2>/dev/null | sed -u -e '/IPC \(server\|ping\|status\)/d' -e 's/\r$//' -e 's/^/    /' &
helpers+=($!)
start_session

wait_for 90 session_is_up_or_over || true
if tunnel_is_up; then
    say "the tunnel is up, $(program_runs 'tun2socks\.exe' && printf 'through tun2socks' ||
        printf "through the engine's own tunnel inbound"): $(ctl status)"
    look_at_ways_to_servers
    read -r way port < <(labctl "$prefix" egress download.example.com 2>/dev/null | tr -d '\r')
    say "a download of a user's now leaves by: $way"
    [ "$way" = tunnel ] || failures+=("a download would not go through the tunnel")
    "$BUILD/engine/web" fetch -socks "127.0.0.1:$port" http://download.example.com/bytes/8388608 \
        >"$work/large.json" 2>"$work/page.err" ||
        { failures+=("the download failed: $(cat "$work/page.err")") && show_engine_logs; }
    say "8 MiB through the tunnel: $(cat "$work/large.json")"
    say "status: $(ctl status)"
    wait_for 60 bytes_are_counted || failures+=("the traffic was not counted")
    say "status: $(ctl status)"
    say "the machine while protected, what differs:"
    diff "$work/before" <(dump) | sed 's/^/    /' || true
else
    say "the tunnel did not come up; the client says:"
    client_words | sed 's/^/    /'
    failures+=("the tunnel did not come up: $(session_failure)")
fi

stop_session
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
! program_runs 'xray\.exe|tun2socks\.exe' || problems+=("an engine still runs")
labctl "$prefix" unknown >/dev/null 2>&1 || problems+=("a command was not understood")
looked=1
say "the tunnel log is $log"
