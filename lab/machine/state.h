// The simulated machine as plain values: one document that all stand-ins share, kept as JSON between calls.
//
// Addresses are texts ("203.0.113.7", "fe80::1"), GUIDs are texts in braces with capitals, names are UTF-8. What
// Windows keeps over a reboot is in the fields whose names begin with "stored"; the others are lost or learned again.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace moorlak::lab {

struct Address {
  std::string address;
  uint32_t prefixLength = 0;
  auto operator<=>(const Address&) const = default;
};

// One family's settings of an adapter. Windows keeps an active and a stored copy: `netsh` writes both, the IP Helper
// functions only the active one. A reboot restores the stored copy, so it also has what the network will hand out again
// (the lease's addresses, the learned name servers). Its `ifIndex` means nothing.
struct FamilySettings {
  // Whether this family is bound to the adapter. If not, it has no index and no interface entry in this family.
  bool bound = true;
  // 0 if the family is not bound.
  uint32_t ifIndex = 0;
  bool dhcp = true;
  std::vector<Address> addresses;
  // If the automatic metric is on, the machine computes `metric` and ignores a set one.
  bool autoMetric = true;
  uint32_t metric = 25;
  // Name servers set by hand, and those learned from DHCP or router advertisements. The former hide the latter.
  std::vector<std::string> staticDns;
  std::vector<std::string> learnedDns;
  bool operator==(const FamilySettings&) const = default;
};

struct Adapter {
  std::string name;         // the connection's ("friendly") name
  std::string description;  // the device's
  std::string guid;         // also AdapterName of GetAdaptersAddresses
  uint64_t luid = 0;
  uint32_t type = 6;  // IfType: 6 Ethernet, 24 software loopback, 71 wireless, 53 proprietary virtual (Wintun)
  // Operational state. An adapter with `needsSession` (Wintun) is down until a program runs a session on it.
  bool up = true;
  bool enabled = true;
  // Wintun only: the process that holds a session, 0 for none.
  bool needsSession = false;
  uint32_t sessionProcess = 0;
  FamilySettings ipv4;
  FamilySettings ipv6;
  FamilySettings storedIpv4;
  FamilySettings storedIpv6;
  // GetAdaptersAddresses lists it from this time of the machine's clock.
  uint64_t listedFromMs = 0;
  bool operator==(const Adapter&) const = default;
};

struct Route {
  std::string destination;
  uint32_t prefixLength = 0;
  // "0.0.0.0" or "::" for on-link routes.
  std::string nextHop;
  uint64_t luid = 0;
  // The offset; the interface's metric is added to it.
  uint32_t metric = 0;
  // Returns after a reboot: set persistently, or handed out by the network with the lease.
  bool stored = false;
  auto operator<=>(const Route&) const = default;
};

struct FirewallRule {
  std::string name;
  // The words of the `add rule` command in their order, without the name: "dir=in", "localport=1080,8080", …
  std::vector<std::string> words;
  bool operator==(const FirewallRule&) const = default;
};

// A network device as SetupAPI lists it; the adapter, if any, has the same GUID.
struct Device {
  std::string instanceId;    // SWD\WINTUN\{…}
  std::string friendlyName;  // empty: the property does not exist
  std::string description;
  std::string adapterGuid;  // empty: none
  bool present = true;
  bool removalNeedsReboot = false;
  bool removalPending = false;
  // Wintun: the process whose create handle owns the adapter, 0 for none.
  uint32_t ownerProcess = 0;
  // The last name of its connection, which the registry keeps. Empty while the adapter exists, which then has the name.
  std::string connectionName;
  // Wintun: why the adapter is leaving, "closed" or "dead" (its owner), and when, by the machine's clock. Empty if it
  // is not leaving.
  std::string leaving;
  uint64_t leavesAtMs = 0;
  bool operator==(const Device&) const = default;
};

// A running program that moves an adapter's traffic: tun2socks, or an engine with its own TUN inbound.
struct TunnelProgram {
  uint32_t process = 0;
  std::string adapterGuid;
  // The SOCKS port on loopback to which the traffic goes: tun2socks' configured proxy, or the engine's inbound.
  uint16_t proxyPort = 0;
  bool operator==(const TunnelProgram&) const = default;
};

// How tunnel adapters come and go on this machine. With these defaults everything happens at once.
struct AdapterHabits {
  // How long after its start a program that moves traffic brings its adapter up.
  uint32_t engineDelayMs = 0;
  // tun2socks creates its own adapter under a new GUID even if one of that name exists; the existing one is renamed.
  bool tun2socksMakesItsOwn = false;
  // How long an adapter that was closed, or whose owner has died, stays listed together with its device.
  uint32_t lingerMs = 0;
  // How long a new adapter is missing from the list of adapters.
  uint32_t unlistedMs = 0;
  bool operator==(const AdapterHabits&) const = default;
};

// A network of the network list manager; the registry's stored profile is the prefix's real registry.
struct Network {
  std::string id;
  std::string name;
  std::string adapterGuid;
  bool renamable = true;
  // Enumerations include it only from the n-th one after its adapter came up.
  uint32_t appearsAtEnumeration = 0;
  bool operator==(const Network&) const = default;
};

struct WfpCondition {
  std::string field;  // the GUID's documented name: "ALE_APP_ID", "IP_REMOTE_PORT", …; its GUID text if unknown
  std::string match;  // "equal", "not-equal", …
  std::string type;   // "uint8", "uint16", "uint32", "uint64", "byte-blob", …
  std::string value;  // decimal; byte blobs in hexadecimal, except ALE_APP_ID: the path as text
  bool operator==(const WfpCondition&) const = default;
};

struct WfpProvider {
  std::string key;
  std::string name;
  uint64_t session = 0;  // the dynamic session that owns it, 0 for none
  bool operator==(const WfpProvider&) const = default;
};

struct WfpSublayer {
  std::string key;
  std::string name;
  std::string provider;
  uint16_t weight = 0;
  uint64_t session = 0;
  bool operator==(const WfpSublayer&) const = default;
};

struct WfpFilter {
  uint64_t id = 0;
  std::string name;
  std::string layer;     // "ALE_AUTH_CONNECT_V4", …
  std::string sublayer;  // key
  std::string provider;  // key, empty for none
  std::string action;    // "permit", "block"
  std::string weightType;
  uint64_t weight = 0;
  std::vector<WfpCondition> conditions;
  uint64_t session = 0;
  bool operator==(const WfpFilter&) const = default;
};

struct WfpSession {
  uint64_t handle = 0;
  uint32_t process = 0;
  bool dynamic = false;
  bool inTransaction = false;
  bool operator==(const WfpSession&) const = default;
};

struct Wfp {
  uint64_t nextId = 1000;
  // Grows when the engine restarts: handles of earlier generations are dead.
  uint64_t generation = 1;
  std::vector<WfpSession> sessions;
  std::vector<WfpProvider> providers;
  std::vector<WfpSublayer> sublayers;
  std::vector<WfpFilter> filters;
  bool operator==(const Wfp&) const = default;
};

// One planned misbehaviour. `call` is a function ("SetIpInterfaceEntry") or a program ("netsh"); empty matches any.
struct Fault {
  std::string call;
  // Text that the call's logged arguments must contain; empty matches any arguments.
  std::string argument;
  // Which matching call since the fault's creation it applies to; 0 is every one.
  uint32_t nth = 1;
  // "fail" with the code, "kill" (the service dies before the call), "kill-after", "hang" (forever), "break" (waits
  // until `labctl release`), "print" (programs: `code` bytes, see PrintedBytes), "delay" (`code` milliseconds).
  std::string kind;
  uint32_t code = 0;
  uint32_t seen = 0;
  bool hit = false;
  bool operator==(const Fault&) const = default;
};

// A call that waits at a break, in a living process.
struct Waiter {
  uint64_t call = 0;  // its number in the call log
  uint32_t process = 0;
  std::string name;
  bool operator==(const Waiter&) const = default;
};

// Counters for tests. Kept by every call, failed ones included.
struct Record {
  uint64_t calls = 0;
  // Calls that changed the machine (anything but this record and the faults). When this number reaches `killAtChange`
  // (0: never), the service is ended, after the change is saved.
  uint64_t changes = 0;
  uint64_t killAtChange = 0;
  // Ends the service before that change instead: the change is counted but not made.
  bool killBefore = false;
  // Keep the machine after every change, see ReadHistory.
  bool keepHistory = false;
  uint64_t dnsFlushes = 0;
  // Command lines that no stand-in program understood, and uses that Windows forbids but that may happen to work.
  std::vector<std::string> unknownCommands;
  std::vector<Waiter> waiting;
  // The machine's clock: the system's milliseconds at the last call or read.
  uint64_t clockMs = 0;
  bool operator==(const Record&) const = default;
};

// Commands that `netsh` refuses on some machines and not on others. It refuses with exit code 1.
struct NetshSwitches {
  // "ipv4 set dnsservers … dhcp" on an adapter whose address is static.
  bool refusesDnsFromDhcpOnStatic = false;
  // "ipv6 set dnsservers … dhcp" on an adapter without servers set by hand: there is nothing to change.
  bool refusesIdleIpv6DnsFromDhcp = false;
  bool operator==(const NetshSwitches&) const = default;
};

struct MachineState {
  std::vector<Adapter> adapters;  // in the system's order
  std::vector<Route> ipv4Routes;
  std::vector<Route> ipv6Routes;
  // Stored routes whose active copy was deleted. A reboot puts them in force again.
  std::vector<Route> dormantIpv4Routes;
  std::vector<Route> dormantIpv6Routes;
  std::vector<FirewallRule> firewallRules;
  std::vector<Device> devices;
  std::vector<Network> networks;
  std::vector<TunnelProgram> tunnels;
  Wfp wfp;
  std::vector<Fault> faults;
  Record record;
  uint32_t nextIfIndex = 20;
  // The program whose processes the faults "kill" and "kill-after" and `killAtChange` end, whichever program called.
  std::string serviceImage = "moorlak_service.exe";
  // `route` exits with 0 even if it failed, as some versions do.
  bool routeExitsZero = false;
  // `route DELETE` deletes only active routes and leaves their stored copies.
  bool routeKeepsStored = false;
  AdapterHabits adapterHabits;
  // The loopback port of the web server that plays the internet; 0 for none.
  uint16_t httpPort = 0;
  NetshSwitches netsh;
  bool operator==(const MachineState&) const = default;
};

}  // namespace moorlak::lab
