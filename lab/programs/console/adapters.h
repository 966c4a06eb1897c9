// The machine's adapters as the console programs look for them.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// By the connection's name, letter case ignored.
Adapter* FindAdapterNamed(MachineState& state, std::string_view name);

// Both families of an adapter by one word.
FamilySettings& ActiveSettings(Adapter& adapter, bool ipv6);
FamilySettings& StoredSettings(Adapter& adapter, bool ipv6);
std::vector<Route>& RoutesOf(MachineState& state, bool ipv6);

// The route with the same destination, interface and next hop is there; its metric does not matter (MIB_IPFORWARD_ROW2
// on Microsoft Learn).
bool HasRoute(const std::vector<Route>& routes, const Route& route);

}  // namespace moorlak::lab
