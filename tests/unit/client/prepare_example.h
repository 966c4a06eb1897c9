// A configuration and what a VPN start makes of it, written by hand: one expectation for the function, the Linux
// program and the Windows command.
#pragma once

#include <string_view>

namespace moorlak {

inline constexpr std::string_view kExampleConfig =
    R"({"log":{},"inbounds":[{"tag":"socks-in","port":10808,"listen":"[::1]","protocol":"socks"}],
"outbounds":[{"tag":"proxy","protocol":"vless","settings":{"vnext":[{"address":"203.0.113.5","port":443}]},
"streamSettings":{"tlsSettings":{"allowInsecure":true,"serverName":"a"}}},{"tag":"direct","protocol":"freedom"}],
"moorlakMeta":{"panelHost":"panel.example","bypassSubnets":["10.0.0.0/8","fd00::/8"],
"__moorlak_blocked_apps":["Game.exe"],"directDomains":["example.org"],"shareProxyPorts":[10808,"1080"]}}
)";

inline constexpr std::string_view kExampleText =
    R"({
"routing": {
  "domainStrategy": "IPIfNonMatch",
  "rules": [
    {
      "type": "field",
      "inboundTag": ["api"],
      "outboundTag": "api"
    },
    {
      "type": "field",
      "ip": ["203.0.113.5"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "domain": ["panel.example"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "domain": ["example.org"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "process": ["self/", "xray/", "moor_lak/", "moorlak_tunnel_service/"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "process": ["game.exe"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "ip": ["9.9.9.9", "149.112.112.112"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "network": "tcp,udp",
      "outboundTag": "proxy"
    }
  ]
},
"dns":{"servers":["9.9.9.9","149.112.112.112"],"queryStrategy":"UseIPv4"},
"api": { "tag": "api", "services": ["StatsService"] },
"policy": { "system": { "statsOutboundUplink": true, "statsOutboundDownlink": true } },
"stats": {},"log":{},"inbounds":[
    {
      "tag": "api",
      "port": 10086,
      "listen": "127.0.0.1",
      "protocol": "dokodemo-door",
      "settings": { "address": "127.0.0.1" }
    },
    {
      "tag": "tun-in",
      "protocol": "tun",
      "settings": {
        "name": "Moorlak",
        "desc": "Moorlak",
        "mtu": 1500,
        "gateway": ["10.0.85.1/24"],
        "dns": ["9.9.9.9","149.112.112.112"],
        "autoSystemRoutingTable": ["0.0.0.0/0", "::/0"],
        "autoOutboundsInterface": "auto"
      },
      "sniffing": {
        "enabled": true,
        "destOverride": ["http", "tls", "quic"]
      }
    },{"tag":"socks-in","port":10808,"listen": "127.0.0.1","protocol":"socks"}],
"outbounds":[{"tag":"proxy","protocol":"vless","settings":{"vnext":[{"address":"203.0.113.5","port":443}]},
"streamSettings":{"tlsSettings":{"serverName":"a"}}},{"tag":"direct","protocol":"freedom"}]}
)";

inline constexpr std::string_view kExampleMeta =
    R"(panelHost: panel.example
bypassSubnets: 10.0.0.0/8
bypassSubnets: fd00::/8
blockedApps: Game.exe
directDomains: example.org
shareProxyPorts: 10808
shareProxyPorts: 1080
)";

inline constexpr std::string_view kExampleLog =
    R"(OS DNS=9.9.9.9/149.112.112.112; Xray DNS injected as OS list
Xray process bypass rules: 1
Xray routing rules injected (api/stats + bypass)
split-tunnel: Xray native TUN inbound injected (per-process bypass)
)";

}  // namespace moorlak
