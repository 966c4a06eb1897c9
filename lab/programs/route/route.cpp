#include "programs/route/route.h"

#include <algorithm>

#include "programs/console/adapters.h"
#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

constexpr char kNoGateway[] = "0.0.0.0";
constexpr uint32_t kLoopbackType = 24;
constexpr uint32_t kHostMask = 0xFFFFFFFF;
// The metric without METRIC. The table shows the sum with the interface's metric.
constexpr uint32_t kUsualMetric = 1;

Outcome Done() {
  return {0, " OK!\r\n", false};
}

Outcome Refused(const MachineState& state, const std::string& message) {
  return {state.routeExitsZero ? 0U : 1U, message + "\r\n\r\n", false};
}

Outcome AdditionRefused(const MachineState& state, const std::string& why) {
  return Refused(state, "The route addition failed: " + why);
}

// The interface through which a gateway is reached.
struct Way {
  const Adapter* adapter = nullptr;
  uint32_t prefixLength = 0;
  // The gateway is this machine's address: the destination itself is on-link.
  bool own = false;
};

// A longer prefix is better, then a lower metric.
bool IsBetter(const Way& way, const Way& best) {
  if (best.adapter == nullptr) return true;
  if (way.prefixLength != best.prefixLength) return way.prefixLength > best.prefixLength;
  return way.adapter->ipv4.metric < best.adapter->ipv4.metric;
}

bool CanCarry(const Adapter& adapter, const RouteCommand& command) {
  return adapter.up && adapter.enabled && adapter.ipv4.bound && adapter.type != kLoopbackType &&
         (!command.ifIndex || adapter.ipv4.ifIndex == *command.ifIndex);
}

void Consider(Way& best, const Adapter& adapter, const Address& address, uint32_t gateway) {
  const uint32_t own = ParseIpv4(address.address).value_or(0);
  const Way way{&adapter, address.prefixLength, own == gateway};
  const bool onLink = ((own ^ gateway) & MaskOf(address.prefixLength)) == 0;
  if (onLink && IsBetter(way, best)) best = way;
}

Way FindWay(const MachineState& state, const RouteCommand& command) {
  Way best;
  for (const Adapter& adapter : state.adapters) {
    if (!CanCarry(adapter, command)) continue;
    // Gateway 0.0.0.0 and a named interface: the destination is on-link there.
    if (command.gateway == 0U && command.ifIndex) return {&adapter, 0, true};
    for (const Address& address : adapter.ipv4.addresses) Consider(best, adapter, address, command.gateway.value_or(0));
  }
  return best;
}

Outcome Add(MachineState& state, const RouteCommand& command) {
  const uint32_t mask = command.mask.value_or(kHostMask);
  const std::optional<uint32_t> prefixLength = PrefixLengthOf(mask);
  if ((command.destination & ~mask) != 0)
    return AdditionRefused(state, "The specified mask parameter is invalid. (Destination & Mask) != Destination.");
  if (!prefixLength) return AdditionRefused(state, "The parameter is incorrect.");
  const Way way = FindWay(state, command);
  if (way.adapter == nullptr)
    return AdditionRefused(state,
                           "Either the interface index is wrong or the gateway does not lie on the same network as the "
                           "interface. Check the IP Address Table for the machine.");
  const Route route{Ipv4Text(command.destination),
                    *prefixLength,
                    way.own ? kNoGateway : Ipv4Text(command.gateway.value_or(0)),
                    way.adapter->luid,
                    command.metric.value_or(kUsualMetric),
                    command.persistent};
  if (HasRoute(state.ipv4Routes, route)) return AdditionRefused(state, "The object already exists.");
  ActivateRoute(state, false, route);
  return Done();
}

const Adapter* AdapterOfRoute(const MachineState& state, const Route& route) {
  const auto found = std::ranges::find(state.adapters, route.luid, &Adapter::luid);
  return found == state.adapters.end() ? nullptr : &*found;
}

bool IsMeant(const MachineState& state, const RouteCommand& command, const Route& route) {
  const Adapter* adapter = AdapterOfRoute(state, route);
  return ParseIpv4(route.destination) == command.destination &&
         (!command.mask || MaskOf(route.prefixLength) == *command.mask) &&
         (!command.gateway || ParseIpv4(route.nextHop) == *command.gateway) &&
         (!command.ifIndex || (adapter != nullptr && adapter->ipv4.ifIndex == *command.ifIndex));
}

Outcome Delete(MachineState& state, const RouteCommand& command) {
  const auto isMeant = [&](const Route& route) { return IsMeant(state, command, route); };
  const size_t taken = state.routeKeepsStored ? Deactivate(state, false, isMeant) : RemoveRoutes(state, false, isMeant);
  if (taken == 0) return Refused(state, "The route deletion failed: Element not found.");
  return Done();
}

}  // namespace

Outcome RunRoute(MachineState& state, const Words& words) {
  const RouteParse parse = ParseRoute(words);
  if (!parse.command) return {1, parse.complaint, true};
  return parse.command->add ? Add(state, *parse.command) : Delete(state, *parse.command);
}

}  // namespace moorlak::lab
