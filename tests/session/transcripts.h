// What a good session logs and makes of the machine "dhcp", reviewed by hand. A change of the product that changes
// these texts changes what users and their support see.
#pragma once

namespace moorlak::session {

// clang-format off
inline constexpr char kTun2SocksTranscript[] = R"(
IPC start (payload bytes=1063)
IPC start accepted
OS DNS=9.9.9.9/149.112.112.112; Xray DNS injected as OS list
Xray routing rules injected (api/stats + bypass)
Xray runs as the service without privileges (not as LocalService: LogonUserW gave no token of that account)
SOCKS listen ready on 127.0.0.1:SOCKSPORT
Physical gateway: 192.0.2.1
bypass: 198.51.100.20 -> 198.51.100.20
bypass: 198.51.100.30 -> 198.51.100.30
diag: IPv6 default present — WFP will block non-tunnel IPv6 outbound at DNS-guard install
pre-ready SOCKS probe OK (Nms) url=https://www.gstatic.com/generate_204 attempt=1
pre-ready TUN path probe OK (Nms) url=https://www.gstatic.com/generate_204 attempt=1
=== connect diagnostics begin ===
diag: adapter_listed=yes
diag: adapter_ip_10.0.85.2=yes
diag: default_listed_Moorlak=yes
diag: default_metric_wins=yes
diag: best_route 1.0.0.1 via 10.0.85.1 if=22 metric=2
diag: best_route_via_Moorlak=yes
diag: ipv6_default_present=yes
diag: physical_gateway=192.0.2.1
diag: server_bypass_ip=203.0.113.7
diag: IPv4 default via 10.0.85.1 if=22 metric=2
diag: IPv4 default via 192.0.2.1 if=20 metric=25
diag: IPv4 default route count=2
=== connect diagnostics end ===
WintunHolder: renamed network profile to Moorlak Network
dns-leak: persisted 1 adapter DNS backup(s) to disk
dns-leak: raised metric on Ethernet
dns-leak: neutralized DNS on Ethernet (1 v4 server(s) saved)
dns-leak: persisted 1 adapter DNS backup(s) to disk
dns-guard: SMHNR / parallel DNS disabled for tunnel session
dns-guard: blocking DNS + IPv6 outbound on non-Moorlak interfaces (9 filters)
dns-leak: Moorlak OS DNS set to 9.9.9.9 / 149.112.112.112
Moorlak tunnel ready (SOCKS + TUN path + DNS guard)
IPC stop
fast-disconnect: dropped 1 Moorlak default route(s)
fast-disconnect: cleared Moorlak address 10.0.85.2
dns-guard: removed
dns-guard: SMHNR policy restored
dns-guard: removed
dns-leak: restored DNS on Ethernet
Stop completed in Nms
)";

inline constexpr char kNativeTranscript[] = R"(
IPC start (payload bytes=1145)
IPC start accepted
WintunHolder: released persistent adapter for Xray TUN
OS DNS=9.9.9.9/149.112.112.112; Xray DNS injected as OS list
Xray process bypass rules: 1
Xray routing rules injected (api/stats + bypass)
split-tunnel: Xray native TUN inbound injected (per-process bypass)
Xray runs as the service (it drives the adapter itself)
SOCKS listen ready on 127.0.0.1:SOCKSPORT
split-tunnel: using Xray native TUN (per-process bypass, no tun2socks)
Physical gateway: 192.0.2.1
bypass: 198.51.100.20 -> 198.51.100.20
bypass: 198.51.100.30 -> 198.51.100.30
pre-ready SOCKS probe OK (Nms) url=https://www.gstatic.com/generate_204 attempt=1
pre-ready TUN path probe OK (Nms) url=https://www.gstatic.com/generate_204 attempt=1
=== connect diagnostics begin ===
diag: adapter_listed=yes
diag: adapter_ip_10.0.85.2=yes
diag: default_listed_Moorlak=yes
diag: default_metric_wins=yes
diag: best_route 1.0.0.1 via 10.0.85.1 if=23 metric=5
diag: best_route_via_Moorlak=yes
diag: ipv6_default_present=yes
diag: physical_gateway=192.0.2.1
diag: server_bypass_ip=203.0.113.7
diag: IPv4 default via 10.0.85.1 if=23 metric=5
diag: IPv4 default via 192.0.2.1 if=20 metric=25
diag: IPv4 default route count=2
=== connect diagnostics end ===
WintunHolder: renamed network profile to Moorlak Network
dns-leak: persisted 1 adapter DNS backup(s) to disk
dns-leak: raised metric on Ethernet
dns-leak: neutralized DNS on Ethernet (1 v4 server(s) saved)
dns-leak: persisted 1 adapter DNS backup(s) to disk
dns-guard: SMHNR / parallel DNS disabled for tunnel session
dns-guard: blocking DNS + IPv6 outbound on non-Moorlak interfaces (9 filters)
dns-leak: split/bypass apps active — physical DNS still stubbed + DNS guard ON (no ISP DNS leak)
dns-leak: Moorlak OS DNS set to 9.9.9.9 / 149.112.112.112
Moorlak tunnel ready (Xray TUN + process split tunnel)
IPC stop
dns-guard: removed
dns-guard: SMHNR policy restored
dns-guard: removed
dns-leak: restored DNS on Ethernet
Stop completed in Nms
WintunHolder: removed orphan adapter SWD\Wintun\{made by the engine}
WintunHolder: purged 1 orphan Wintun adapter(s)
WintunHolder: persistent Moorlak adapter ready
)";

// What the session changes of the machine; "-" before lines of the machine before, "+" before those while it is up.
inline constexpr char kTun2SocksChanges[] = R"(
 adapter "Ethernet" Ethernet, up
-  IPv4: DHCP, metric 25 automatic
+  IPv4: DHCP, metric 5000 set
-    DNS static (none)
+    DNS static 127.0.0.1
-    stored the same
+  IPv4 stored: DHCP, metric 25 automatic
+    addresses 192.0.2.10/24
+    DNS static 127.0.0.1
+    DNS learned 192.0.2.53
-adapter "Moorlak" virtual, down, needs a session
+adapter "Moorlak" virtual, up, needs a session, in session
-  IPv4: DHCP, metric 5 automatic
-    addresses (none)
-    DNS static (none)
+  IPv4: static, metric 1 set
+    addresses 10.0.85.2/24
+    DNS static 9.9.9.9, 149.112.112.112
 IPv4 routes
+  0.0.0.0/0 via 10.0.85.1 on "Moorlak" metric 1, stored
+  10.0.85.0/24 on-link on "Moorlak" metric 256, stored
+  10.0.85.2/32 on-link on "Moorlak" metric 256, stored
+  10.0.85.255/32 on-link on "Moorlak" metric 256, stored
+  149.112.112.112/32 via 192.0.2.1 on "Ethernet" metric 1
+  172.16.0.0/12 via 192.0.2.1 on "Ethernet" metric 1
+  198.51.100.20/32 via 192.0.2.1 on "Ethernet" metric 1
+  198.51.100.30/32 via 192.0.2.1 on "Ethernet" metric 1
+  203.0.113.7/32 via 192.0.2.1 on "Ethernet" metric 1
+  224.0.0.0/4 on-link on "Moorlak" metric 256, stored
+  255.255.255.255/32 on-link on "Moorlak" metric 256, stored
+  9.9.9.9/32 via 192.0.2.1 on "Ethernet" metric 1
 networks
+  "Moorlak Network" on "Moorlak"
)";

inline constexpr char kNativeChanges[] = R"(
 adapter "Ethernet" Ethernet, up
-  IPv4: DHCP, metric 25 automatic
+  IPv4: DHCP, metric 5000 set
-    DNS static (none)
+    DNS static 127.0.0.1
-    stored the same
+  IPv4 stored: DHCP, metric 25 automatic
+    addresses 192.0.2.10/24
+    DNS static 127.0.0.1
+    DNS learned 192.0.2.53
-adapter "Moorlak" virtual, down, needs a session
+adapter "Moorlak" virtual, up, needs a session, in session
-  IPv4: DHCP, metric 5 automatic
+  IPv4: static, metric 5 automatic
+    addresses 10.0.85.2/24
+    DNS static 9.9.9.9, 149.112.112.112
+    DNS learned (none)
+  IPv4 stored: DHCP, metric 5 automatic
-    DNS static (none)
+    DNS static 9.9.9.9, 149.112.112.112
-    stored the same
 IPv4 routes
+  0.0.0.0/0 via 10.0.85.1 on "Moorlak" metric 0
+  10.0.85.0/24 on-link on "Moorlak" metric 256
+  10.0.85.2/32 on-link on "Moorlak" metric 256
+  10.0.85.255/32 on-link on "Moorlak" metric 256
+  149.112.112.112/32 via 192.0.2.1 on "Ethernet" metric 1
+  172.16.0.0/12 via 192.0.2.1 on "Ethernet" metric 1
+  198.51.100.20/32 via 192.0.2.1 on "Ethernet" metric 1
+  198.51.100.30/32 via 192.0.2.1 on "Ethernet" metric 1
+  203.0.113.7/32 via 192.0.2.1 on "Ethernet" metric 1
+  224.0.0.0/4 on-link on "Moorlak" metric 256
+  255.255.255.255/32 on-link on "Moorlak" metric 256
+  9.9.9.9/32 via 192.0.2.1 on "Ethernet" metric 1
 IPv6 routes
+  ::/0 on-link on "Moorlak" metric 0
 devices
-  SWD\Wintun\{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61} "Moorlak Tunnel" "Moorlak Tunnel", present, held
+  SWD\Wintun\{made by the engine} "Moorlak Tunnel" "Moorlak Tunnel", present, held
 networks
+  "Moorlak Network" on "Moorlak"
)";

// On both paths.
inline constexpr char kFilters[] = R"(
 filtering platform
+  provider "Moorlak" {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+  sublayer "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31} weight 32768, dynamic
+  filter ALE_AUTH_CONNECT_V4 block weight uint8 8 "Moorlak DNS leak guard" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    IP_LOCAL_INTERFACE not-equal uint64 "Moorlak"
+    IP_PROTOCOL equal uint8 17
+    IP_REMOTE_PORT equal uint16 53
+  filter ALE_AUTH_CONNECT_V4 block weight uint8 8 "Moorlak DNS leak guard" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    IP_LOCAL_INTERFACE not-equal uint64 "Moorlak"
+    IP_PROTOCOL equal uint8 6
+    IP_REMOTE_PORT equal uint16 53
+  filter ALE_AUTH_CONNECT_V4 permit weight uint8 15 "Moorlak allow Xray DNS bypass" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    ALE_APP_ID equal byte-blob \device\harddiskvolume1\program files\moorlak\xray\xray.exe
+    IP_PROTOCOL equal uint8 17
+    IP_REMOTE_ADDRESS equal uint32 151587081
+    IP_REMOTE_PORT equal uint16 53
+  filter ALE_AUTH_CONNECT_V4 permit weight uint8 15 "Moorlak allow Xray DNS bypass" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    ALE_APP_ID equal byte-blob \device\harddiskvolume1\program files\moorlak\xray\xray.exe
+    IP_PROTOCOL equal uint8 17
+    IP_REMOTE_ADDRESS equal uint32 2507174000
+    IP_REMOTE_PORT equal uint16 53
+  filter ALE_AUTH_CONNECT_V4 permit weight uint8 15 "Moorlak allow Xray DNS bypass" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    ALE_APP_ID equal byte-blob \device\harddiskvolume1\program files\moorlak\xray\xray.exe
+    IP_PROTOCOL equal uint8 6
+    IP_REMOTE_ADDRESS equal uint32 151587081
+    IP_REMOTE_PORT equal uint16 53
+  filter ALE_AUTH_CONNECT_V4 permit weight uint8 15 "Moorlak allow Xray DNS bypass" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    ALE_APP_ID equal byte-blob \device\harddiskvolume1\program files\moorlak\xray\xray.exe
+    IP_PROTOCOL equal uint8 6
+    IP_REMOTE_ADDRESS equal uint32 2507174000
+    IP_REMOTE_PORT equal uint16 53
+  filter ALE_AUTH_CONNECT_V6 block weight uint8 8 "Moorlak DNS leak guard" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    IP_LOCAL_INTERFACE not-equal uint64 "Moorlak"
+    IP_PROTOCOL equal uint8 17
+    IP_REMOTE_PORT equal uint16 53
+  filter ALE_AUTH_CONNECT_V6 block weight uint8 8 "Moorlak DNS leak guard" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    IP_LOCAL_INTERFACE not-equal uint64 "Moorlak"
+    IP_PROTOCOL equal uint8 6
+    IP_REMOTE_PORT equal uint16 53
+  filter ALE_AUTH_CONNECT_V6 block weight uint8 8 "Moorlak IPv6 leak guard" in "Moorlak DNS Guard" {6D6F6F72-444E-5300-4755-4152444D4C31}, provider {6D6F6F72-444E-5301-4755-4152444D4C31}, dynamic
+    IP_LOCAL_INTERFACE not-equal uint64 "Moorlak"
)";

// clang-format on

}  // namespace moorlak::session
