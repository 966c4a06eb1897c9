#include "machine/fixtures.h"

#include <cstdio>

namespace moorlak::lab {
namespace {

constexpr uint32_t kEthernet = 6;
constexpr uint32_t kLoopback = 24;
constexpr uint32_t kWireless = 71;
// The metric offset that Windows gives to routes that come with an address.
constexpr uint32_t kOnLinkMetric = 256;

std::string Guid(uint32_t number) {
  char text[64] = {};
  std::snprintf(text, sizeof text, "{5C0FFEE0-0B5E-4D1A-9C3B-%012X}", number);
  return text;
}

std::string Hex(uint32_t number) {
  char text[16] = {};
  std::snprintf(text, sizeof text, "%x", number);
  return text;
}

void Store(Adapter& adapter) {
  adapter.storedIpv4 = adapter.ipv4;
  adapter.storedIpv6 = adapter.ipv6;
}

void AddOnLink(std::vector<Route>& routes, const std::string& anyHop, uint64_t luid,
               const std::vector<Address>& targets) {
  for (const Address& target : targets)
    routes.push_back({target.address, target.prefixLength, anyHop, luid, kOnLinkMetric, true});
}

void AddLoopback(MachineState& state) {
  Adapter adapter;
  adapter.name = "Loopback Pseudo-Interface 1";
  adapter.description = "Software Loopback Interface 1";
  adapter.guid = Guid(1);
  adapter.luid = Luid(kLoopback, 0);
  adapter.type = kLoopback;
  for (FamilySettings* family : {&adapter.ipv4, &adapter.ipv6}) {
    family->ifIndex = 1;
    family->dhcp = false;
    family->metric = 75;
  }
  adapter.ipv4.addresses = {{"127.0.0.1", 8}};
  adapter.ipv6.addresses = {{"::1", 128}};
  Store(adapter);
  AddOnLink(state.ipv4Routes, "0.0.0.0", adapter.luid,
            {{"127.0.0.0", 8}, {"127.0.0.1", 32}, {"127.255.255.255", 32}, {"224.0.0.0", 4}, {"255.255.255.255", 32}});
  AddOnLink(state.ipv6Routes, "::", adapter.luid, {{"::1", 128}, {"ff00::", 8}});
  state.adapters.push_back(adapter);
}

void AddIpv4(MachineState& state, Adapter& adapter, uint32_t subnet) {
  const std::string net = "192.0." + std::to_string(subnet) + ".";
  adapter.ipv4.addresses = {{net + "10", 24}};
  adapter.ipv4.learnedDns = {net + "53"};
  state.ipv4Routes.push_back({"0.0.0.0", 0, net + "1", adapter.luid, 0, true});
  AddOnLink(state.ipv4Routes, "0.0.0.0", adapter.luid,
            {{net + "0", 24}, {net + "10", 32}, {net + "255", 32}, {"224.0.0.0", 4}, {"255.255.255.255", 32}});
}

void AddIpv6(MachineState& state, Adapter& adapter, uint32_t subnet) {
  // The first network is the documentation prefix itself.
  const std::string net = subnet == 2 ? "2001:db8::" : "2001:db8:" + Hex(subnet) + "::";
  const std::string host = "fe80::" + Hex(0x100 + subnet);
  adapter.ipv6.addresses = {{net + "10", 64}, {host, 64}};
  adapter.ipv6.learnedDns = {net + "53"};
  state.ipv6Routes.push_back({"::", 0, "fe80::1", adapter.luid, kOnLinkMetric, true});
  AddOnLink(state.ipv6Routes, "::", adapter.luid,
            {{net, 64}, {net + "10", 128}, {"fe80::", 64}, {host, 128}, {"ff00::", 8}});
}

Adapter NewPhysicalAdapter(MachineState& state, const std::string& name, uint32_t type) {
  const auto number = static_cast<uint32_t>(state.adapters.size()) + 1;
  Adapter adapter;
  adapter.name = name;
  adapter.description = type == kWireless ? "Wireless-AX Network Adapter" : "Gigabit Network Connection";
  if (number > 2) adapter.description += " #" + std::to_string(number - 1);
  adapter.guid = Guid(number);
  adapter.luid = Luid(type, 0x8000 + number);
  adapter.type = type;
  adapter.ipv4.ifIndex = adapter.ipv6.ifIndex = state.nextIfIndex++;
  adapter.ipv4.metric = adapter.ipv6.metric = type == kWireless ? 35 : 25;
  state.devices.push_back({"PCI\\VEN_8086&DEV_15F3&SUBSYS_00008086&REV_03\\" + std::to_string(number),
                           adapter.description, adapter.description, adapter.guid, true, false, false, 0, "", "", 0});
  state.networks.push_back({Guid(0x1000 + number), "Network " + std::to_string(number - 1), adapter.guid, true, 0});
  return adapter;
}

void AddDisconnected(MachineState& state, const std::string& name, uint32_t type) {
  Adapter adapter = NewPhysicalAdapter(state, name, type);
  adapter.up = false;
  Store(adapter);
  state.adapters.push_back(adapter);
}

void SetThreeServers(Adapter& adapter) {
  adapter.ipv4.dhcp = false;
  adapter.ipv4.learnedDns.clear();
  adapter.ipv4.staticDns = {"203.0.113.7", "149.112.112.112", "198.51.100.53"};
  adapter.ipv4.autoMetric = false;
  adapter.ipv4.metric = 15;
  Store(adapter);
}

void MakeIpv6Only(MachineState& state, Adapter& adapter) {
  std::erase_if(state.ipv4Routes, [&](const Route& route) { return route.luid == adapter.luid; });
  adapter.ipv4 = FamilySettings{};
  adapter.ipv4.bound = false;
  adapter.ipv4.dhcp = false;
  Store(adapter);
}

MachineState BareMachine() {
  MachineState state;
  AddLoopback(state);
  return state;
}

MachineState OneAdapter(const std::string& name) {
  MachineState state = BareMachine();
  AddPhysicalAdapter(state, name, kEthernet, 2);
  return state;
}

}  // namespace

uint64_t Luid(uint32_t type, uint32_t number) {
  return (static_cast<uint64_t>(type) << 48) | (static_cast<uint64_t>(number & 0xFFFFFFU) << 24);
}

Adapter& AddPhysicalAdapter(MachineState& state, const std::string& name, uint32_t type, uint32_t subnet) {
  Adapter adapter = NewPhysicalAdapter(state, name, type);
  AddIpv4(state, adapter, subnet);
  AddIpv6(state, adapter, subnet);
  Store(adapter);
  return state.adapters.emplace_back(adapter);
}

MachineState DhcpMachine() {
  MachineState state = OneAdapter("Ethernet");
  AddDisconnected(state, "Wi-Fi", kWireless);
  return state;
}

MachineState ThreeStaticServersMachine() {
  MachineState state = OneAdapter("Ethernet");
  SetThreeServers(state.adapters.back());
  return state;
}

MachineState ManualDnsOverDhcpMachine() {
  MachineState state = OneAdapter("Ethernet");
  state.adapters.back().ipv4.staticDns = {"203.0.113.7"};
  Store(state.adapters.back());
  return state;
}

MachineState StaticWithoutServersMachine() {
  MachineState state = OneAdapter("Ethernet");
  SetThreeServers(state.adapters.back());
  state.adapters.back().ipv4.staticDns.clear();
  Store(state.adapters.back());
  state.netsh = {true, true};
  return state;
}

MachineState StaticIpv6ServersMachine() {
  MachineState state = OneAdapter("Ethernet");
  state.adapters.back().ipv6.staticDns = {"2001:db8::99", "2001:db8::98"};
  Store(state.adapters.back());
  return state;
}

MachineState CyrillicNameMachine() {
  return OneAdapter("Беспроводная сеть");
}

MachineState NameWithSpacesMachine() {
  return OneAdapter("Local Area Connection 2");
}

MachineState Ipv6OnlyMachine() {
  MachineState state = OneAdapter("Ethernet");
  MakeIpv6Only(state, state.adapters.back());
  return state;
}

MachineState DisconnectedMachine() {
  MachineState state = BareMachine();
  AddDisconnected(state, "Ethernet", kEthernet);
  AddDisconnected(state, "Wi-Fi", kWireless);
  return state;
}

MachineState UnsafeNameMachine() {
  return OneAdapter("R&D");
}

MachineState MixedMachine() {
  MachineState state = OneAdapter("Ethernet");
  SetThreeServers(AddPhysicalAdapter(state, "Local Area Connection 2", kEthernet, 3));
  AddPhysicalAdapter(state, "Беспроводная сеть", kWireless, 4);
  AddPhysicalAdapter(state, "R&D", kEthernet, 5);
  MakeIpv6Only(state, AddPhysicalAdapter(state, "Ethernet 6", kEthernet, 6));
  AddDisconnected(state, "Wi-Fi", kWireless);
  return state;
}

AdapterHabits SlowAdapters() {
  AdapterHabits habits;
  habits.engineDelayMs = 800;
  habits.tun2socksMakesItsOwn = true;
  habits.lingerMs = 1500;
  return habits;
}

const std::vector<Fixture>& Fixtures() {
  static const std::vector<Fixture> fixtures = {{"dhcp", DhcpMachine},
                                                {"three-static", ThreeStaticServersMachine},
                                                {"manual-dns", ManualDnsOverDhcpMachine},
                                                {"static-without-servers", StaticWithoutServersMachine},
                                                {"static-ipv6-servers", StaticIpv6ServersMachine},
                                                {"cyrillic", CyrillicNameMachine},
                                                {"spaces", NameWithSpacesMachine},
                                                {"ipv6-only", Ipv6OnlyMachine},
                                                {"disconnected", DisconnectedMachine},
                                                {"unsafe", UnsafeNameMachine},
                                                {"mixed", MixedMachine}};
  return fixtures;
}

}  // namespace moorlak::lab
