#include "network/support/simulated_machine.h"

#include <windows.h>

#include "net/routing/route_journal.h"

namespace moorlak {
namespace {

constexpr uint32_t kVirtualType = 53;
constexpr uint32_t kOnLinkMetric = 256;

void AddOnLinkRoutes(lab::MachineState& machine, uint64_t luid) {
  const std::vector<lab::Address> targets = {
      {"10.0.85.0", 24}, {"10.0.85.2", 32}, {"10.0.85.255", 32}, {"224.0.0.0", 4}, {"255.255.255.255", 32}};
  for (const lab::Address& target : targets)
    machine.ipv4Routes.push_back({target.address, target.prefixLength, "0.0.0.0", luid, kOnLinkMetric, false});
}

}  // namespace

lab::Adapter& AddTunnelAdapter(lab::MachineState& machine, const std::string& name) {
  const auto number = static_cast<uint32_t>(machine.adapters.size());
  lab::Adapter tunnel;
  tunnel.name = name;
  tunnel.description = "Wintun Userspace Tunnel";
  tunnel.guid = "{6D6F6F72-6C61-4E01-9A11-4D6F6F7260" + std::to_string(10 + number) + "}";
  tunnel.luid = lab::Luid(kVirtualType, 0x9000 + number);
  tunnel.type = kVirtualType;
  tunnel.needsSession = true;
  tunnel.sessionProcess = GetCurrentProcessId();
  tunnel.ipv4.ifIndex = tunnel.ipv6.ifIndex = machine.nextIfIndex++;
  tunnel.ipv4.dhcp = false;
  tunnel.ipv4.metric = tunnel.ipv6.metric = 5;
  tunnel.storedIpv4 = tunnel.ipv4;
  tunnel.storedIpv6 = tunnel.ipv6;
  tunnel.ipv4.addresses = {{"10.0.85.2", 24}};
  AddOnLinkRoutes(machine, tunnel.luid);
  return machine.adapters.emplace_back(tunnel);
}

void AddTunnelDefault(lab::MachineState& machine, const lab::Adapter& tunnel, uint32_t metric) {
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", tunnel.luid, metric, false});
}

lab::MachineState TunnelMachine() {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelDefault(machine, AddTunnelAdapter(machine));
  return machine;
}

void DropDefaults(lab::MachineState& machine) {
  std::erase_if(machine.ipv4Routes, [](const lab::Route& route) { return route.prefixLength == 0; });
}

void OnSimulatedMachine::Start(const lab::MachineState& machine) {
  lab::CreateMachine(machine);
  before = Now();
  log = std::make_unique<LogWatch>();
}

void OnSimulatedMachine::TearDown() {
  // Otherwise the journal would be applied to the next test's machine.
  RestoreJournaledRoutes();
  EXPECT_EQ(lab::ReadMachine().record.unknownCommands, std::vector<std::string>{});
}

}  // namespace moorlak
