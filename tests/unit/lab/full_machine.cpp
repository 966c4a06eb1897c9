#include "lab/full_machine.h"

#include "machine/fixtures.h"

namespace moorlak::lab {
namespace {

Adapter Tunnel() {
  Adapter adapter;
  adapter.name = "Moorlak";
  adapter.description = "Moorlak Tunnel";
  adapter.guid = kTunnelGuid;
  adapter.luid = Luid(53, 9);
  adapter.type = 53;
  adapter.needsSession = true;
  adapter.sessionProcess = kServiceProcess;
  adapter.ipv4.ifIndex = 31;
  adapter.ipv4.dhcp = false;
  adapter.ipv4.addresses = {{"10.0.85.2", 24}};
  adapter.ipv4.autoMetric = false;
  adapter.ipv4.metric = 1;
  adapter.ipv4.staticDns = {"203.0.113.7"};
  adapter.ipv6.bound = false;
  adapter.ipv6.dhcp = false;
  adapter.enabled = true;
  adapter.listedFromMs = 6000;
  return adapter;
}

WfpFilter Filter(uint64_t session) {
  WfpFilter filter;
  filter.id = 1001 + session;
  filter.name = "Guard " + std::to_string(session);
  filter.layer = "ALE_AUTH_CONNECT_V4";
  filter.sublayer = "{AAAAAAAA-0000-0000-0000-000000000001}";
  filter.provider = "{AAAAAAAA-0000-0000-0000-000000000002}";
  filter.action = "block";
  filter.weightType = "uint8";
  filter.weight = 8;
  filter.conditions = {{"IP_REMOTE_PORT", "equal", "uint16", "53"},
                       {"IP_LOCAL_INTERFACE", "not-equal", "uint64", std::to_string(Luid(53, 9))}};
  filter.session = session;
  return filter;
}

Wfp Filters() {
  Wfp wfp;
  wfp.nextId = 2000;
  wfp.generation = 3;
  wfp.sessions = {{7, kServiceProcess, true, true}, {9, kOtherProcess, false, false}};
  wfp.providers = {{"{AAAAAAAA-0000-0000-0000-000000000002}", "Moorlak", 7}};
  wfp.sublayers = {{"{AAAAAAAA-0000-0000-0000-000000000001}", "Moorlak DNS Guard",
                    "{AAAAAAAA-0000-0000-0000-000000000002}", 32768, 7}};
  wfp.filters = {Filter(7), Filter(0)};
  return wfp;
}

}  // namespace

MachineState FullMachine() {
  MachineState machine = DhcpMachine();
  machine.adapters.push_back(Tunnel());
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", Luid(53, 9), 1, false});
  machine.dormantIpv4Routes.push_back({"198.51.100.0", 24, "10.0.85.1", Luid(53, 9), 1, true});
  machine.dormantIpv6Routes.push_back({"2001:db8:7::", 64, "::", Luid(53, 9), 256, true});
  machine.firewallRules = {{"Sharing", {"dir=in", "localport=1080,8080"}}};
  machine.devices.push_back({"SWD\\WINTUN\\" + std::string(kTunnelGuid), "Moorlak Tunnel", "Moorlak Tunnel",
                             kTunnelGuid, true, true, false, kServiceProcess, "", "", 0});
  machine.networks.push_back({"{N}", "Moorlak 2", kTunnelGuid, false, 3});
  machine.tunnels = {{kServiceProcess, kTunnelGuid, 10807}};
  machine.wfp = Filters();
  machine.faults = {{"netsh", "metric", 2, "fail", 5, 1, true}};
  machine.record = {40, 12, 13, true, true, 2, {"netsh what"}, {{39, kServiceProcess, "route"}}, 7000};
  machine.nextIfIndex = 40;
  machine.serviceImage = "other.exe";
  machine.routeExitsZero = true;
  machine.routeKeepsStored = true;
  machine.adapterHabits = {800, true, 0, 300};
  machine.httpPort = 8081;
  machine.netsh = {true, true};
  return machine;
}

}  // namespace moorlak::lab
