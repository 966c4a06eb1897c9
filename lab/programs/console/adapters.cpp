#include "programs/console/adapters.h"

#include <algorithm>

#include "programs/console/text.h"

namespace moorlak::lab {
namespace {

// The metric is not part of a route's identity.
auto IsSameRoute(const Route& route) {
  return [&route](const Route& one) {
    return one.destination == route.destination && one.prefixLength == route.prefixLength && one.luid == route.luid &&
           one.nextHop == route.nextHop;
  };
}

}  // namespace

Adapter* FindAdapterNamed(MachineState& state, std::string_view name) {
  for (Adapter& adapter : state.adapters) {
    if (EqualsIgnoringCase(adapter.name, name)) return &adapter;
  }
  return nullptr;
}

bool IsUsedElsewhere(const MachineState& state, const Adapter& adapter, const std::string& address) {
  return std::ranges::any_of(state.adapters, [&](const Adapter& other) {
    return &other != &adapter && other.enabled &&
           std::ranges::any_of(other.ipv4.addresses, [&](const Address& one) { return one.address == address; });
  });
}

FamilySettings& ActiveSettings(Adapter& adapter, bool ipv6) {
  return ipv6 ? adapter.ipv6 : adapter.ipv4;
}

FamilySettings& StoredSettings(Adapter& adapter, bool ipv6) {
  return ipv6 ? adapter.storedIpv6 : adapter.storedIpv4;
}

std::vector<Route>& RoutesOf(MachineState& state, bool ipv6) {
  return ipv6 ? state.ipv6Routes : state.ipv4Routes;
}

std::vector<Route>& DormantRoutesOf(MachineState& state, bool ipv6) {
  return ipv6 ? state.dormantIpv6Routes : state.dormantIpv4Routes;
}

bool HasRoute(const std::vector<Route>& routes, const Route& route) {
  return std::ranges::any_of(routes, IsSameRoute(route));
}

void ActivateRoute(MachineState& state, bool ipv6, Route route) {
  std::vector<Route>& dormant = DormantRoutesOf(state, ipv6);
  const auto found = std::ranges::find_if(dormant, IsSameRoute(route));
  if (found != dormant.end() && (route.stored || found->metric == route.metric)) {
    route.stored = true;
    dormant.erase(found);
  }
  RoutesOf(state, ipv6).push_back(std::move(route));
}

size_t Deactivate(MachineState& state, bool ipv6, const std::function<bool(const Route&)>& isMeant) {
  std::vector<Route>& dormant = DormantRoutesOf(state, ipv6);
  return std::erase_if(RoutesOf(state, ipv6), [&](const Route& route) {
    const bool meant = isMeant(route);
    if (meant && route.stored) dormant.push_back(route);
    return meant;
  });
}

size_t RemoveRoutes(MachineState& state, bool ipv6, const std::function<bool(const Route&)>& isMeant) {
  const size_t dormant = std::erase_if(DormantRoutesOf(state, ipv6), isMeant);
  return dormant + std::erase_if(RoutesOf(state, ipv6), isMeant);
}

}  // namespace moorlak::lab
