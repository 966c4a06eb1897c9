#!/usr/bin/env bash
# Whether ./run shows what it can show and says what it cannot. Looks at its exit code and its output only.
#   check_demo.sh                    what it refuses before it starts anything: seconds
#   check_demo.sh --whole [PATTERN]  that, the examples of docs/configuration.md, every configuration of
#                                    tests/demo/shown in the three forms, and what can go wrong on the way: half a
#                                    minute for each of some forty runs
# PATTERN: only the runs whose title it matches (a regular expression).
source "$(dirname "$0")/common.sh"

whole='' pattern=.
if [ "${1:-}" = --whole ]; then
    whole=1
    pattern=${2:-.}
elif [ $# -gt 0 ]; then
    sed -n '2,/^source/{/^#/s/^# \{0,1\}//p}' "$0"
    exit 2
fi
# The two may run side by side.
export MOORLAK_DEMO_NAME=check_demo${whole:+_whole}
output=$BUILD/results/$MOORLAK_DEMO_NAME.log
mkdir -p "$BUILD/results"
passed=0 failed=0

# expect TITLE CODE LAST LINE... -- WORDS...: runs ./run with the words. CODE is its exit code, LAST matches its last
# line, and each LINE some line (regular expressions).
expect() {
    local title=$1 code=$2 last=$3 lines=() status=0 line fault=''
    shift 3
    while [ "$1" != -- ]; do lines+=("$1") && shift; done
    shift
    grep -qE "$pattern" <<<"$title" || return 0
    "$ROOT/run" "$@" </dev/null >"$output" 2>&1 || status=$?
    [ "$status" -eq "$code" ] || fault="exit code $status, not $code"
    tail -n 1 "$output" | grep -qE "$last" || fault+=" last line: $(tail -n 1 "$output")"
    for line in "${lines[@]}"; do grep -qE "$line" "$output" || fault+=" no line: $line"; done
    if [ -z "$fault" ]; then
        passed=$((passed + 1))
        say "ok    $title"
    else
        failed=$((failed + 1))
        say "FAIL  $title: $fault"
        tail -n 40 "$output" | sed 's/^/    | /'
    fi
}

# refused NAME REASON [FORM]
refused() {
    local file=$ROOT/tests/demo/refused/$1.json
    expect "${3:-} refused $1" 1 "refused/$1\.json cannot be shown: .*$2" 'own server: address 203\.0\.113\.7, port 443, user 7c9e6a1e' \
        -- ${3:+"$3"} "$file"
}

usage_and_refusals() {
    expect "unknown word" 2 '^Exit code 0' '^Shows the real thing' -- --what
    expect "no such file" 2 '^cannot read /no/such\.json$' -- /no/such.json
    expect "a folder" 2 '^cannot read ' -- --native-tun "$ROOT/tests"
    expect "two files" 2 '^one configuration at most' -- --proxy a.json b.json
    refused comment 'it is no strict JSON'
    refused comment 'it is no strict JSON' --proxy
    refused cut 'it is no strict JSON' --native-tun
    refused list 'it is no JSON object'
    refused no_outbounds 'it has no outbounds'
    refused no_outbounds 'it has no outbounds' --proxy
    refused wrong_shape 'have not the shape'
    refused not_tagged 'the outbound tagged "proxy", and none is tagged so'
    refused loopback_server 'its server is 127\.0\.0\.1, and the service takes that for no VPN server'
    refused ipv6_server 'the service routes IPv4 addresses and names only' --native-tun
    refused no_address 'a server of it has no address'
    refused strange_address '"203\.0\.113\.7:443" is no address'
    refused port_as_text 'the port "443"' --proxy
    refused no_servers 'vless outbound "proxy" lists no server'
    refused wireguard 'wireguard outbound "proxy" needs a server of a kind'
    refused grpc 'does not know the transport "grpc"' --proxy
    refused chained 'goes through another outbound, "other"'
    refused own_certificate 'trusts only a certificate of its own'
    refused strange_tls_name '"a,DNS:b" is no name that a certificate could bear'
    refused tls_without_name 'names no server for its TLS'
}

# shown FORM LINE WORDS...: every configuration of the folder.
shown() {
    local form=$1 line=$2 file
    shift 2
    for file in "$ROOT"/tests/demo/shown/*.json; do
        expect "$form ${file##*/}" 0 '^Everything was put back: ' "$line" -- "$@" "$file"
    done
}

examples() {
    local folder=$BUILD/examples
    "$ROOT/scripts/doc_examples.sh" "$ROOT/docs/configuration.md" "$folder"
    expect "documented example: VPN" 0 '^Everything was put back: ' '^the tunnel is up, through tun2socks' \
        -- "$folder/example_vpn.json"
    expect "documented example: applications around the tunnel" 0 '^Everything was put back: ' \
        "^the tunnel is up, through the engine's own tunnel inbound" -- "$folder/example_bypass.json"
    expect "documented example: proxy mode" 0 '^Everything was put back: ' '^5 MiB through the engine: ' \
        -- --proxy "$folder/example_proxy.json"
}

whole_runs() {
    examples
    expect "tunnel, own configuration" 0 '^Everything was put back: ' '^8 MiB through the tunnel: .*"bytes":8388608' --
    expect "native, own configuration" 0 '^Everything was put back: ' "up, through the engine's own tunnel" -- --native-tun
    expect "proxy, own configuration" 0 '^Everything was put back: ' '^5 MiB through the engine: .*"bytes":5242880' -- --proxy
    shown tunnel '^8 MiB through the tunnel: .*"bytes":8388608'
    shown native "up, through the engine's own tunnel" --native-tun
    shown proxy '^5 MiB through the engine: .*"bytes":5242880' --proxy
    refused unknown_cipher 'the engine does not take it: .*unknown cipher' --native-tun
    expect "tunnel that does not come up" 1 \
        '^It did NOT all work: the tunnel did not come up: ERROR: .*Everything was put back' -- "$ROOT/tests/demo/no_socks_inbound.json"
    expect "proxy mode whose engine listens elsewhere" 1 '^It did NOT all work: no page came through' \
        '^the end of engine\.log:' -- --proxy "$ROOT/tests/demo/no_socks_inbound.json"
    # The service knows one server, the first that the text names.
    expect "tunnel with a server that has no way around it" 1 \
        "^It did NOT all work: the engine's connection to 203\.0\.113\.100 would leave by the tunnel itself" \
        -- "$ROOT/tests/demo/two_servers.json"
    expect "tunnel with another outbound's server in front" 1 \
        "^It did NOT all work: the engine's connection to 203\.0\.113\.100 would leave by the tunnel itself" \
        -- "$ROOT/tests/demo/spare_server_first.json"
    expect "proxy mode with two servers" 0 '^Everything was put back: ' '^5 MiB through the engine: .*"bytes":5242880' \
        -- --proxy "$ROOT/tests/demo/two_servers.json"
    MOORLAK_DEMO_FAULT='fail route --argument 172.16.0.0 --nth 0 --code 1' expect "a lost command" 1 \
        '^It did NOT all work: commands were lost, [0-9]+ of them: CMD exit=1: route ADD 172\.16\.0\.0 .*Everything was put back' --
}

usage_and_refusals
[ -z "$whole" ] || whole_runs
say "$passed passed, $failed failed"
[ "$failed" -eq 0 ] || exit 1
rm -rf "$BUILD/prefixes/$MOORLAK_DEMO_NAME" "${BUILD:?}/$MOORLAK_DEMO_NAME"
