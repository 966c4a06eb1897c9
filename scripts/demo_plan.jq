# What a demonstration has to serve so that an engine configuration finds its server. In: the configuration. Out: either
# {"refusal": "why it cannot be served"} or
#   outbound   "vmess outbound \"proxy\"", for people
#   servers    [{"address": as the configuration says, "ip": where it is served, "port"}]; none for a direct outbound
#   hosts      [{"name", "ip"}]: what the machine has to resolve
#   nameServers  addresses that the engine asks for names
#   inbounds   of the engine that is the server
#   tlsNames   names and addresses that its certificate has to bear; none without TLS
#   bypass     true when applications are named that bypass the tunnel
#   geoip, geosite   names of lists that rules refer to, without the one that is there
#   notes      what differs from the configuration, a sentence each
# Arguments: mode ("vpn" or "proxy"), certificate and key (files for the server, as it sees them).

def refuse($text): {refusal: $text} | error;
def isDotted: test("^[0-9]{1,3}([.][0-9]{1,3}){3}$") and (split(".") | all(.[]; tonumber <= 255));
def isName: length <= 253 and test("^[A-Za-z0-9_]([A-Za-z0-9_-]*[A-Za-z0-9_])?([.][A-Za-z0-9_]([A-Za-z0-9_-]*[A-Za-z0-9_])?)*$") and test("[A-Za-z]");

# Everything goes to the outbound "proxy" in VPN mode, by a rule of the service's; in proxy mode to the first.
def outbound:
  (.outbounds // []) as $all
  | if ($all | length) == 0 then refuse("it has no outbounds")
    elif $mode == "proxy" then $all[0]
    else first($all[] | select(.tag == "proxy"))
      // refuse("VPN mode sends everything to the outbound tagged \"proxy\", and none is tagged so")
    end;

def named: "\(.protocol) outbound" + (if .tag then " \"\(.tag)\"" else "" end);

def entries:
  (if .protocol == "vmess" or .protocol == "vless" then .settings.vnext else .settings.servers end) as $entries
  | if ($entries | type) != "array" or ($entries | length) == 0
    then refuse("its \(named) lists no server (the engine here reads \"vnext\" for vmess and vless, \"servers\" for others)")
    else $entries end;

def isIpv6: test("^[0-9A-Fa-f:.]*:[0-9A-Fa-f:.]*:[0-9A-Fa-f:.]*$");

def checkedAddress:
  if type != "string" or . == "" then refuse("a server of it has no address")
    elif $mode == "vpn" and (ascii_downcase | IN("127.0.0.1", "localhost", "::1", "0.0.0.0"))
    then refuse("its server is \(.), and the service takes that for no VPN server: any other address or name will do")
    elif isIpv6 and $mode == "vpn"
    then refuse("its server is \(.), and the service routes IPv4 addresses and names only")
    elif isDotted or isName or isIpv6 then .
    else refuse("\(tojson) is no address and no name that the simulated machine could resolve") end;

def checkedPort:
  if type == "number" and . == floor and . >= 1 and . <= 65535 then .
  else refuse("a server of it has the port \(tojson), where the engine wants a number from 1 to 65535") end;

# The address that a server is given. Names get one each of a network that is for documentation (RFC 5737).
def servers:
  [entries[] | {address: (.address | checkedAddress), port: (.port | checkedPort)}] as $wanted
  | ([$wanted[].address | ascii_downcase | select(isName and . != "localhost")] | unique) as $names
  | if ($names | length) > 100 then refuse("it names more than 100 servers") else . end
  | $wanted
  | map(. + {ip: ((.address | ascii_downcase) as $low
      | if $low == "localhost" then "127.0.0.1"
        else ($names | index($low)) as $i | if $i == null then .address else "203.0.113.\(100 + $i)" end end)});

# The other side of an outbound's settings, for one of its servers.
def inboundSettings($protocol):
  if $protocol == "vmess" then {clients: .users}
  elif $protocol == "vless" then {clients: [.users[] | del(.encryption)], decryption: "none"}
  elif $protocol == "trojan" then {clients: [{password, email, level} | del(.[] | nulls)]}
  elif $protocol == "shadowsocks" then {method, password, network: "tcp,udp"}
  elif (.users // []) == [] then {auth: "noauth", udp: true}
  else {auth: "password", udp: true, accounts: [.users[] | {user, pass}]} end
  | if $protocol == "http" then {accounts} | del(.[] | nulls) else . end;

def usesTls: .streamSettings.security == "tls";

# A client's path may bring a query, which a server does not compare; web sockets begin in HTTP/1.1.
def serverStream:
  (.streamSettings // {}) as $stream
  | ($stream | {network, tcpSettings, kcpSettings, wsSettings, httpSettings, quicSettings} | del(.[] | nulls))
  | if .wsSettings.path then .wsSettings.path |= sub("[?].*$"; "") else . end
  | if $stream.security == "tls"
    then . + {security: "tls", tlsSettings: (($stream.tlsSettings // {} | {alpn} | del(.[] | nulls))
      + (if .network | IN("ws", "websocket") then {alpn: ["http/1.1"]} else {} end)
      + {certificates: [{certificateFile: $certificate, keyFile: $key}]})}
    else . end;

def checkedOutbound:
  . as $outbound
  | (.protocol // "" | if type == "string" then . else tojson end) as $protocol
  | (.streamSettings.network // "tcp") as $network
  | if $protocol == "freedom" and $mode == "proxy" then .
    elif IN($protocol; "vmess", "vless", "trojan", "shadowsocks", "socks", "http") | not
    then refuse("its \($outbound | named) needs a server of a kind that the engine here cannot be")
    elif IN($network; "tcp", "ws", "websocket", "h2", "http", "kcp", "mkcp", "quic") | not
    then refuse("the engine here does not know the transport \($network | tojson)")
    elif .proxySettings.tag then refuse("its \(named) goes through another outbound, \(.proxySettings.tag | tojson)")
    elif usesTls and (.streamSettings.tlsSettings.disableSystemRoot or (.streamSettings.tlsSettings.certificates // []) != [])
    then refuse("its \(named) trusts only a certificate of its own")
    elif usesTls and (.streamSettings.tlsSettings.serverName // "" | . != "" and (isName or isDotted | not))
    then refuse("\(.streamSettings.tlsSettings.serverName | tojson) is no name that a certificate could bear")
    elif usesTls and (.streamSettings.tlsSettings.serverName // "") == "" and any(servers[]; .address | isName | not)
    then refuse("its \(named) names no server for its TLS (\"serverName\"), which the engine here needs beside an address")
    else . end;

def notes:
  (.streamSettings.security // "none") as $security
  | [if IN($security; "none", "tls", "") then empty
     else "the engine here does not know the security \($security | tojson): both ends speak without it" end]
    + [.settings.vnext[]?.users[]?.flow // "" | select(. != "")
       | "the engine here does not know the flow \(tojson): both ends speak without it"]
  | unique;

# Names that the service looks up besides: of its own data, and of other outbounds' servers, of which it may take one for
# the server. Each gets an address of its own.
def otherNames:
  (.moorlakMeta // {}) as $meta
  | [$meta.panelHost, $meta.directDomains[]?, (.outbounds[]?.settings? | (.vnext?, .servers?) | .[]?.address?)]
  | map(strings | ascii_downcase | select(isName and . != "localhost")) | unique;

# Those that the configuration gives the engine, and those that the service gives it otherwise.
def nameServers:
  [.dns.servers[]? | if type == "object" then .address else . end | strings | select(isDotted and (startswith("127.") | not))]
  | unique | if . == [] and $mode == "vpn" then ["9.9.9.9", "149.112.112.112"] else . end;

def lists($kind):
  [.. | strings | select(startswith("\($kind):")) | ltrimstr("\($kind):") | split("@")[0] | ascii_upcase
   | select(test("^[A-Z0-9_!-]{1,60}$") and . != "PRIVATE")] | unique;

def hosts($servers):
  [$servers[] | select(.address | isName) | {name: (.address | ascii_downcase), ip}] as $served
  | ($served | unique)
    + [(otherNames - [$served[].name])[:100] | to_entries[] | {name: .value, ip: "198.51.100.\(101 + .key)"}];

def plan:
  . as $config
  | (outbound | checkedOutbound) as $outbound
  | ($outbound | if .protocol == "freedom" then [] else servers end) as $servers
  | ($outbound | if .protocol == "freedom" then [] else entries end) as $entries
  | {outbound: ($outbound | named),
     $servers,
     hosts: hosts($servers),
     nameServers: (nameServers - [$servers[].ip]),
     inbounds: [range($servers | length) as $i
       | {listen: $servers[$i].ip, port: $servers[$i].port, protocol: $outbound.protocol,
          settings: ($entries[$i] | inboundSettings($outbound.protocol)), streamSettings: ($outbound | serverStream)}],
     tlsNames: (if $outbound | usesTls
       then [$servers[].address, $outbound.streamSettings.tlsSettings.serverName // empty] | unique else [] end),
     bypass: ([.. | objects | .["__moorlak_blocked_apps"]? | arrays[]] | length > 0),
     geoip: lists("geoip"),
     geosite: lists("geosite"),
     notes: ($outbound | notes)};

if type != "object" then {refusal: "it is no JSON object"}
else . as $config
  | try plan catch (if type == "object" then . else {refusal: "its outbounds have not the shape of an engine's (\(.))"} end)
end
