#include "programs/tunnel/tunnels.h"

#include <algorithm>
#include <optional>

#include "programs/console/adapters.h"
#include "programs/console/ip_text.h"
#include "wintun/adapters.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kRingCapacity = 0x400000;
// ERROR_OBJECT_ALREADY_EXISTS.
constexpr uint32_t kAddressTaken = 5010;
// The metric offset that Windows gives to routes that come with an address.
constexpr uint32_t kOnLinkMetric = 256;
constexpr char kNoHop[] = "0.0.0.0";
constexpr char kNoHopV6[] = "::";

Adapter& AdapterOf(MachineState& state, const std::string& guid) {
  return *std::ranges::find(state.adapters, guid, &Adapter::guid);
}

// Runs a session on the adapter and moves its traffic.
uint32_t Carry(MachineState& state, const std::string& guid, uint32_t process, uint16_t proxyPort) {
  const uint32_t error = StartWintunSession(state, guid, kRingCapacity, process);
  if (error == 0) state.tunnels.push_back({process, guid, proxyPort});
  return error;
}

void AddOnLink(MachineState& state, uint64_t luid, uint32_t address, uint32_t length) {
  const uint32_t mask = MaskOf(length);
  const std::vector<Address> targets = {{Ipv4Text(address & mask), length},
                                        {Ipv4Text(address), 32},
                                        {Ipv4Text(address | ~mask), 32},
                                        {"224.0.0.0", 4},
                                        {"255.255.255.255", 32}};
  for (const Address& target : targets)
    state.ipv4Routes.push_back({target.address, target.prefixLength, kNoHop, luid, kOnLinkMetric, false});
}

// The address is in host order.
void GiveAddress(MachineState& state, Adapter& adapter, uint32_t address, uint32_t length) {
  adapter.ipv4.dhcp = false;
  adapter.ipv4.addresses = {{Ipv4Text(address), length}};
  AddOnLink(state, adapter.luid, address, length);
}

bool AddRoute(MachineState& state, uint64_t luid, const std::string& gateway, const std::string& route) {
  if (const std::optional<Prefix> prefix = ParsePrefix(route, false)) {
    state.ipv4Routes.push_back({prefix->address, prefix->length, gateway, luid, 0, false});
    return true;
  }
  const std::optional<Prefix> prefix = ParsePrefix(route, true);
  if (prefix) state.ipv6Routes.push_back({prefix->address, prefix->length, kNoHopV6, luid, 0, false});
  return prefix.has_value();
}

}  // namespace

uint32_t AttachTunnel(MachineState& state, const std::string& name, uint32_t process, uint16_t proxyPort) {
  const bool makesItsOwn = state.adapterHabits.tun2socksMakesItsOwn;
  std::string guid;
  uint32_t error = makesItsOwn ? kAdapterNotFound : OpenWintunAdapter(state, name, guid);
  if (makesItsOwn) RenameOlder(state, name);
  if (error == kAdapterNotFound) error = CreateWintunAdapter(state, {name, name, {}}, process, guid);
  return error != 0 ? error : Carry(state, guid, process, proxyPort);
}

uint32_t RaiseEngineTunnel(MachineState& state, const EngineTunnel& tunnel) {
  const std::optional<Prefix> gateway = ParsePrefix(tunnel.gateway, false);
  if (!gateway || gateway->length > 30) return kAdapterBadParameter;
  std::string guid;
  const AdapterRequest request{tunnel.name, tunnel.name, {}};
  if (const uint32_t error = CreateWintunAdapter(state, request, tunnel.process, guid); error != 0) return error;
  if (const uint32_t error = Carry(state, guid, tunnel.process, tunnel.proxyPort); error != 0) return error;
  Adapter& adapter = AdapterOf(state, guid);
  const uint32_t address = ParseIpv4(gateway->address).value_or(0) + 1;
  if (IsUsedElsewhere(state, adapter, Ipv4Text(address))) return kAddressTaken;
  GiveAddress(state, adapter, address, gateway->length);
  const auto add = [&](const std::string& route) { return AddRoute(state, adapter.luid, gateway->address, route); };
  return std::ranges::all_of(tunnel.routes, add) ? 0 : kAdapterBadParameter;
}

}  // namespace moorlak::lab
