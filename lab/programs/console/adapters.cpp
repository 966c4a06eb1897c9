#include "programs/console/adapters.h"

#include <algorithm>

#include "programs/console/text.h"

namespace moorlak::lab {

Adapter* FindAdapterNamed(MachineState& state, std::string_view name) {
  for (Adapter& adapter : state.adapters) {
    if (EqualsIgnoringCase(adapter.name, name)) return &adapter;
  }
  return nullptr;
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

bool HasRoute(const std::vector<Route>& routes, const Route& route) {
  return std::ranges::any_of(routes, [&](const Route& one) {
    return one.destination == route.destination && one.prefixLength == route.prefixLength && one.luid == route.luid &&
           one.nextHop == route.nextHop;
  });
}

}  // namespace moorlak::lab
