#!/usr/bin/env bash
# The service in proxy mode, end to end, with every step printed as it happens; see ./run --proxy.
#   demo_proxy.sh [my-config.json]
source "$(dirname "$0")/common.sh"
source "$ROOT/scripts/lab.sh"
source "$ROOT/scripts/demo_common.sh"
source "$ROOT/scripts/demo_config.sh"

words=("$@") config=''
own_file "$@"
if [ -z "${MOORLAK_OWN_NETWORK:-}" ]; then
    install_packages
    read_config "$config" proxy
    build_for_demo moorlak_service moorlakctl
fi
own_network "$0" "${words[@]}"

say "making a Windows machine (Wine prefix)"
raise_network
end_prefix "$prefix"
clone_prefix "$prefix"
install_product "$prefix" "$BUILD/windows-release" "$BUILD/engine"
lab_install_server "$prefix" "$BUILD/engine"
keep_engine_log
export WINEPREFIX=$prefix

RESTORED="system proxy as before, no engine, no staged file."
settings='HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings'
proxy_settings() { wine reg query "$settings" /s; }
system_proxy() { wine reg query "$settings" /v ProxyServer | sed -n 's/.*REG_SZ *//p'; }
proxy_is_set() { system_proxy | grep -q 'socks=localhost:'; }
proxy_is_set_or_session_over() { proxy_is_set || ended "$client"; }
bytes_are_counted() { [ "$(status_field down)" -ge 5242880 ]; }

start_web
start_server "$web"
# A direct outbound connects to the web server's real address; through a server every name leads to it.
page=http://download.example.com
[ "$(planned '.servers | length')" -gt 0 ] || page=http://$web
say "a web server plays the internet: $page"

trap conclude EXIT
proxy_settings >"$work/proxy.before"
start_service
start_session --proxy

wait_for 30 session_is_up_or_over || true
wait_for 30 proxy_is_set_or_session_over || true
if tunnel_is_up && proxy_is_set; then
    say "proxy mode is up: $(ctl status)"
    say "the system proxy is now $(system_proxy)"
    # If this check did not find the engine now, not finding it later would prove nothing.
    program_runs 'xray\.exe' || failures+=("the engine was not seen running")
    socks=127.0.0.1:$(system_proxy | sed -n 's/.*socks=localhost:\([0-9]*\).*/\1/p')
    # The engine listens shortly after its start; the system proxy is set half a second later.
    if "$BUILD/engine/web" fetch -socks "$socks" "$page/" >"$work/page.json" 2>"$work/page.err" &&
        "$BUILD/engine/web" fetch -socks "$socks" "$page/bytes/5242880" >"$work/large.json" 2>"$work/page.err"; then
        say "a page through the engine:  $(cat "$work/page.json")"
        say "5 MiB through the engine:   $(cat "$work/large.json")"
        wait_for 60 bytes_are_counted || failures+=("the traffic was not counted")
    else
        failures+=("no page came through: $(cat "$work/page.err")")
        show_engine_logs
    fi
    say "status shows the bytes:     $(ctl status)"
else
    say "proxy mode did not come up; the client says:"
    client_words | sed 's/^/    /'
    failures+=("proxy mode did not come up: $(session_failure)")
fi

stop_session
stop_service

proxy_settings >"$work/proxy.after"
difference=$(diff "$work/proxy.before" "$work/proxy.after") || problems+=("the system proxy differs: $difference")
[ ! -e "$prefix/drive_c/ProgramData/Moorlak/proxy_restore.v1" ] || problems+=("a restore file is left")
[ -z "$(find "$prefix/drive_c" -path '*flutter_vless*' -name '*.json')" ] || problems+=("a staged file is left")
! program_runs 'xray\.exe' || problems+=("an engine still runs")
looked=1
say "the tunnel log is $log"
