#include "netlist/networks.h"

#include <algorithm>

namespace moorlak::lab {
namespace {

bool IsConnected(const MachineState& state, const Network& network) {
  return std::ranges::any_of(state.adapters, [&](const Adapter& adapter) {
    return adapter.guid == network.adapterGuid && adapter.up && !adapter.guid.empty();
  });
}

// Counts this enumeration for a network that appears late.
bool HasAppeared(Network& network, bool connected) {
  if (network.appearsAtEnumeration == 0) return true;
  if (!connected) return false;
  return --network.appearsAtEnumeration == 0;
}

}  // namespace

uint32_t EnumerateNetworks(MachineState& state, uint32_t flags, std::vector<std::string>& ids) {
  if (flags == 0 || (flags & ~(kConnectedNetworks | kDisconnectedNetworks)) != 0) return kNetworkBadArgument;
  ids.clear();
  for (Network& network : state.networks) {
    const bool connected = IsConnected(state, network);
    const bool wanted = (flags & (connected ? kConnectedNetworks : kDisconnectedNetworks)) != 0;
    if (HasAppeared(network, connected) && wanted) ids.push_back(network.id);
  }
  return 0;
}

uint32_t ReadNetworkName(const MachineState& state, const std::string& id, std::string& name) {
  const auto network = std::ranges::find(state.networks, id, &Network::id);
  if (network == state.networks.end()) return kNetworkGone;
  name = network->name;
  return 0;
}

uint32_t RenameNetwork(MachineState& state, const std::string& id, const std::string& name) {
  const auto network = std::ranges::find(state.networks, id, &Network::id);
  if (network == state.networks.end()) return kNetworkGone;
  if (name.empty()) return kNetworkBadArgument;
  if (!network->renamable) return kNetworkDenied;
  network->name = name;
  return 0;
}

}  // namespace moorlak::lab
