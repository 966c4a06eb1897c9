#include "winhttp/egress.h"

#include <algorithm>
#include <stdexcept>

#include "iphlpapi/routes.h"
#include "machine/ascii.h"
#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kLoopbackType = 24;
constexpr uint32_t kVirtualType = 53;

Egress Through(const MachineState& state, const Adapter& adapter) {
  Egress egress{Exit::Direct, adapter.name, adapter.luid, 0};
  if (adapter.type == kLoopbackType) egress.exit = Exit::Loopback;
  if (adapter.type == kVirtualType) egress.exit = Exit::Nowhere;
  const auto isMover = [&](const TunnelProgram& program) {
    return program.proxyPort != 0 && SameAscii(program.adapterGuid, adapter.guid);
  };
  const auto mover = std::ranges::find_if(state.tunnels, isMover);
  if (mover == state.tunnels.end()) return egress;
  egress.exit = Exit::Tunnel;
  egress.proxyPort = mover->proxyPort;
  return egress;
}

}  // namespace

std::string AddressOfHost(const std::string& host) {
  if (const std::optional<std::string> address = CanonicalAddress(host, false)) return *address;
  return SameAscii(host, "localhost") ? "127.0.0.1" : kAnyNamesAddress;
}

Egress FindEgress(const MachineState& state, const std::string& address) {
  const std::optional<uint32_t> destination = ParseIpv4(address);
  if (!destination) throw std::invalid_argument("no address: " + address);
  Ipv4Row best;
  if (FindBestIpv4Route(state, *destination, best) != kDone) return {};
  const Adapter* adapter = FindInterface(state, {0, best.ifIndex, false});
  // A connection needs a source address.
  if (adapter == nullptr || adapter->ipv4.addresses.empty()) return {};
  return Through(state, *adapter);
}

Egress LoopbackEgress(const MachineState& state) {
  const auto found = std::ranges::find(state.adapters, kLoopbackType, &Adapter::type);
  return found != state.adapters.end() ? Egress{Exit::Loopback, found->name, found->luid, 0} : Egress{};
}

}  // namespace moorlak::lab
