# Sourced by the demonstrations after common.sh: the configuration that is shown, and its server in the demonstration's
# own network. demo_plan.jq decides what must be served; this script checks it and starts it.
# shellcheck shell=bash

# The demonstration's own server, used by its own configuration.
own_server=203.0.113.7
own_port=443
own_user=7c9e6a1e-2d0f-4f4e-9a39-5b1f0c8d3e21

own_outbound() {
    cat <<JSON
{ "tag": "proxy", "protocol": "vmess", "settings": { "vnext": [ { "address": "$own_server", "port": $own_port,
  "users": [ { "id": "$own_user", "alterId": 0, "security": "auto" } ] } ] } }
JSON
}

own_config() {
    cat <<JSON
{
  "moorlakMeta": { "panelHost": "198.51.100.20", "directDomains": ["198.51.100.30"], "bypassSubnets": ["172.16.0.0/12"] },
  "log": { "loglevel": "warning" },
  "inbounds": [ { "tag": "in_proxy", "listen": "127.0.0.1", "port": 10808, "protocol": "socks",
                  "settings": { "auth": "noauth", "udp": true } } ],
  "outbounds": [ $(own_outbound), { "tag": "direct", "protocol": "freedom" } ]
}
JSON
}

# refuse_config REASON: ends the demonstration with this reason. Neither the service nor a session was started.
refuse_config() {
    trap - EXIT
    end_helpers
    end_prefix "$prefix"
    say "The demonstration can be the server for vmess, vless, trojan, shadowsocks, socks and http, over tcp, ws, h2, kcp or"
    say "quic, with TLS or without, as far as its engine (V2Ray 4.34) knows them."
    say "Its own server: address $own_server, port $own_port, user $own_user. The outbound for it:"
    own_outbound | jq . | sed 's/^/    /'
    say "${config:-its own configuration} cannot be shown: $1"
    exit 1
}

# read_config FILE MODE: writes the configuration to show to $work/config.json and what it needs to $work/plan.json.
# MODE is "vpn" or "proxy". If FILE is empty, the demonstration's own configuration is used.
read_config() {
    local mode=$2 reason
    mkdir -p "$work"
    # A user's configuration contains passwords.
    chmod 700 "$work"
    if [ -z "$1" ]; then own_config >"$work/config.json"; else cp "$1" "$work/config.json"; fi
    reason=$(jq -s 'if length == 1 then empty else error("\(length) values in place of one") end' \
        "$work/config.json" 2>&1) ||
        refuse_config "it is no strict JSON, which the demonstration needs (no comments, no commas too many): ${reason#*: }"
    jq --arg mode "$mode" --arg certificate "Z:${work//\//\\}\\server.crt" --arg key "Z:${work//\//\\}\\server.key" \
        -f "$ROOT/scripts/demo_plan.jq" "$work/config.json" >"$work/plan.json"
    reason=$(planned '.refusal // empty')
    [ -z "$reason" ] || refuse_config "$reason"
}

planned() { jq -r "$1" "$work/plan.json"; }

# If applications bypass the tunnel, the service takes the path through the engine's own tunnel inbound.
add_bypassing_application() {
    [ "$(planned .bypass)" = false ] || return 0
    jq '.moorlakMeta["__moorlak_blocked_apps"] = ["C:\\Program Files\\Games\\game.exe"]' "$work/config.json" \
        >"$work/config.new"
    mv "$work/config.new" "$work/config.json"
    say "the configuration names no application that bypasses the tunnel, which is what leads to this path: one is added"
}

# own_network SCRIPT WORDS...: continues in a separate network and mount namespace. Nothing after this can leave the
# machine, and the demonstration can use the servers' addresses and names.
own_network() {
    [ -z "${MOORLAK_OWN_NETWORK:-}" ] || return 0
    exec env MOORLAK_OWN_NETWORK=1 unshare --net --mount --fork --kill-child -- bash "$@"
}

# Puts the servers' addresses on the loopback interface and their names where Wine's resolver looks.
raise_network() {
    local address
    ip link set lo up
    for address in $(planned '[.servers[].ip, .nameServers[]] | unique[]'); do
        case $address in 127.* | ::1) ;; *) ip addr add "$address" dev lo ;; esac
    done
    { cat /etc/hosts && echo && planned '.hosts[] | "\(.ip) \(.name)"'; } >"$work/hosts"
    mount --bind "$work/hosts" /etc/hosts
    [ "$(planned '.tlsNames | length')" -eq 0 ] || make_certificate
}

# One certificate for all servers, trusted by the machine: Wine uses the system's list. Its key is an RSA key: Wine does
# not accept an ECDSA signature of which one half begins with a zero byte, as about one in 128 does.
make_certificate() {
    local names
    names=$(planned '[.tlsNames[] | if test("^[0-9.]+$|:") then "IP:\(.)" else "DNS:\(.)" end] | join(",")')
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Moorlak demonstration" \
        -addext "subjectAltName=$names" -keyout "$work/server.key" -out "$work/server.crt" 2>"$work/openssl.log"
    mount --bind "$work/server.crt" /etc/ssl/certs/ca-certificates.crt
}

server_program='C:\moorlak-server\server.exe'

# engine_refusal FILE: why the engine rejects a configuration; empty if it accepts it.
engine_refusal() {
    local output
    output=$(XRAY_LOCATION_ASSET="$folder\\xray" "$WINE" "$server_program" run -test -config "Z:${1//\//\\}" 2>&1) ||
        tr -d '\r' <<<"$output" | tail -n 1 | sed 's/^Failed to start: //'
}

# The lists that the configuration's rules refer to, with entries that match nothing: 240.0.0.0/8 is reserved, and
# nobody owns the name "x.invalid" (RFC 6890, RFC 6761; Protocol Buffers' encoding).
add_empty_lists() {
    local lists="$prefix/drive_c/Program Files/Moorlak/xray" list
    for list in $(planned '.geoip[]'); do
        printf "\\x0a\\x$(printf %02x $((${#list} + 12)))\\x0a\\x$(printf %02x ${#list})%s\\x12\\x08\\x0a\\x04\\xf0\\x00\\x00\\x00\\x10\\x08" \
            "$list" >>"$lists/geoip.dat"
    done
    for list in $(planned '.geosite[]'); do
        printf "\\x0a\\x$(printf %02x $((${#list} + 17)))\\x0a\\x$(printf %02x ${#list})%s\\x12\\x0d\\x08\\x03\\x12\\x09x.invalid" \
            "$list" >>"$lists/geosite.dat"
    done
    planned '[(.geoip[] | "geoip:\(.)"), (.geosite[] | "geosite:\(.)")] | select(. != [])
        | "lists that hold nothing here: " + join(", ")'
}

# The configuration's servers and name servers, which resolve every name to one address. The web server at WEB replies
# to every request that goes through the servers.
server_config() {
    jq --arg web "$1" '{log: {loglevel: "warning"},
        inbounds: (.inbounds + [.nameServers[] | {tag: "names", listen: ., port: 53, protocol: "dokodemo-door",
            settings: {address: ., port: 53, network: "tcp,udp"}}]),
        outbounds: [{protocol: "freedom", settings: {redirect: $web}}, {tag: "names", protocol: "dns"}],
        dns: {hosts: {"regexp:.*": "198.51.100.80"}},
        routing: {rules: [{type: "field", inboundTag: ["names"], outboundTag: "names"},
            {type: "field", network: "udp", port: "53", outboundTag: "names"}]}}' "$work/plan.json"
}

# start_server WEB: starts one engine that plays all servers.
start_server() {
    local reason
    add_empty_lists
    server_config "$1" >"$work/server.json"
    reason=$(engine_refusal "$work/config.json")
    [ -z "$reason" ] || refuse_config "the engine does not take it: $reason"
    reason=$(engine_refusal "$work/server.json")
    [ -z "$reason" ] || refuse_config "the engine cannot be its server: $reason"
    planned '.notes[]'
    [ "$(jq '.inbounds | length' "$work/server.json")" -gt 0 ] || return 0
    "$WINE" "$server_program" -config "Z:${work//\//\\}\\server.json" >"$work/server.log" 2>&1 &
    helpers+=($!)
    wait_for 30 grep -aq ' started' "$work/server.log" ||
        refuse_config "its server cannot be raised: $(tr -d '\r' <"$work/server.log" | tail -n 1)"
    planned '.outbound as $outbound | .servers[] | "a server for the \($outbound) listens on \(.address) port \(.port)"
        + if .ip == .address then "" else ", which is \(.ip)" end'
}
