// The simulated machine as plain values: one document behind every stand-in, kept as JSON between calls.
//
// Addresses are texts ("203.0.113.7", "fe80::1"), GUIDs are texts in braces with capitals, names are UTF-8. What
// Windows keeps over a reboot stands in the fields whose names begin with "stored"; the others are lost or learned
// anew.
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
// calls only the active one. The stored copy is what a reboot brings: it also holds what the network will hand out
// again (the lease's addresses, the learned name servers); its `ifIndex` means nothing.
struct FamilySettings {
  // The adapter has this family bound; without it it has no index there and its interface entry does not exist.
  bool bound = true;
  // 0 where the family is not bound.
  uint32_t ifIndex = 0;
  bool dhcp = true;
  std::vector<Address> addresses;
  // With automatic metric on, `metric` is computed by the machine and never the one that was set.
  bool autoMetric = true;
  uint32_t metric = 25;
  // Name servers set by hand, and those learned from DHCP or router advertisements: the former hide the latter.
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
  // Operational state. An adapter whose `session` is needed (Wintun) is down until a program runs one on it.
  bool up = true;
  bool enabled = true;
  // Wintun only: the process that holds a session, 0 for none.
  bool needsSession = false;
  uint32_t sessionProcess = 0;
  FamilySettings ipv4;
  FamilySettings ipv6;
  FamilySettings storedIpv4;
  FamilySettings storedIpv6;
  // By the machine's clock: from when on GetAdaptersAddresses lists it.
  uint64_t listedFromMs = 0;
  bool operator==(const Adapter&) const = default;
};

struct Route {
  std::string destination;
  uint32_t prefixLength = 0;
  // "0.0.0.0" or "::" for on-link routes.
  std::string nextHop;
  uint64_t luid = 0;
  // The offset; the interface's metric comes on top of it.
  uint32_t metric = 0;
  // There again after a reboot: set persistently, or handed out by the network with the lease.
  bool stored = false;
  auto operator<=>(const Route&) const = default;
};

struct FirewallRule {
  std::string name;
  // The words of the `add rule` command in their order, name left out: "dir=in", "localport=1080,8080", …
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
  // The name of its connection when there was one last: the registry keeps it. Empty while the adapter is there, which
  // has it then.
  std::string connectionName;
  // Wintun: why the adapter is about to go, "closed" or "dead" (its owner), and when, by the machine's clock. Empty: it
  // is not.
  std::string leaving;
  uint64_t leavesAtMs = 0;
  bool operator==(const Device&) const = default;
};

// A living program that moves an adapter's traffic: tun2socks, or an engine with a TUN inbound of its own.
struct TunnelProgram {
  uint32_t process = 0;
  std::string adapterGuid;
  // The SOCKS port on loopback to which the traffic goes: the proxy that was given, or the engine's own inbound.
  uint16_t proxyPort = 0;
  bool operator==(const TunnelProgram&) const = default;
};

// How tunnel adapters come and go on this machine; as it is written here, at once.
struct AdapterHabits {
  // A program that moves traffic brings its adapter up that long after its start.
  uint32_t engineDelayMs = 0;
  // tun2socks makes an adapter of its own, under a new GUID, although there is one of the name; that one is renamed.
  bool tun2socksMakesItsOwn = false;
  // An adapter that was closed, or whose owner has died, is listed for that long, and so is its device.
  uint32_t lingerMs = 0;
  // A new adapter is missing in the list of adapters for that long.
  uint32_t unlistedMs = 0;
  bool operator==(const AdapterHabits&) const = default;
};

// A network of the network list manager; the registry's stored profile is the prefix's real registry.
struct Network {
  std::string id;
  std::string name;
  std::string adapterGuid;
  bool renamable = true;
  // Appears in enumerations only from the n-th one after its adapter came up.
  uint32_t appearsAtEnumeration = 0;
  bool operator==(const Network&) const = default;
};

struct WfpCondition {
  std::string field;  // the GUID's documented name: "ALE_APP_ID", "IP_REMOTE_PORT", …; its GUID text when unknown
  std::string match;  // "equal", "not-equal", …
  std::string type;   // "uint8", "uint16", "uint32", "uint64", "byte-blob", …
  std::string value;  // decimal; byte blobs in hexadecimal, except ALE_APP_ID: the path as text
  bool operator==(const WfpCondition&) const = default;
};

struct WfpProvider {
  std::string key;
  std::string name;
  uint64_t session = 0;  // dynamic session that owns it, 0 for none
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

// One planned misbehaviour. `call` is a function ("SetIpInterfaceEntry") or a program ("netsh"); an empty one is any.
struct Fault {
  std::string call;
  // A part of the call's logged arguments that must be there; empty: any arguments.
  std::string argument;
  // Counts matching calls from the fault's creation; 0 is every one.
  uint32_t nth = 1;
  // "fail" with the code, "kill" (the service dies before the call), "kill-after", "hang" (for ever), "break" (waits
  // until `labctl release`), "print" (programs: that many bytes, see PrintedBytes), "delay" (milliseconds).
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

// What outlasts every call, failed ones too: counters for tests.
struct Record {
  uint64_t calls = 0;
  // Calls that changed the machine (anything but this record and the faults); `killAtChange` ends the service when this
  // number is reached (0: never), after the change is saved.
  uint64_t changes = 0;
  uint64_t killAtChange = 0;
  // That change is counted, but not made any more.
  bool killBefore = false;
  // The machine after every change is kept, see ReadHistory.
  bool keepHistory = false;
  uint64_t dnsFlushes = 0;
  // Command lines that no stand-in program understood, and uses that Windows forbids although they may go well.
  std::vector<std::string> unknownCommands;
  std::vector<Waiter> waiting;
  // The system's milliseconds at the latest call or look: the machine's clock.
  uint64_t clockMs = 0;
  bool operator==(const Record&) const = default;
};

// Ways in which `netsh` is stricter on some machines than on others: what it then refuses, it refuses with exit code 1.
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
  // Stored routes whose active copy was deleted: in force again after a reboot.
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
  // The program whose processes the faults "kill" and "kill-after" and `killAtChange` end, whoever made the call.
  std::string serviceImage = "moorlak_service.exe";
  // `route` exits 0 although it failed, as some versions do.
  bool routeExitsZero = false;
  // `route DELETE` takes routes in force only, and leaves the stored copies of those that it takes.
  bool routeKeepsStored = false;
  AdapterHabits adapterHabits;
  // Where the lab's "internet" answers on loopback: port of its web server by scheme, 0 for none.
  uint16_t httpPort = 0;
  NetshSwitches netsh;
  bool operator==(const MachineState&) const = default;
};

}  // namespace moorlak::lab
