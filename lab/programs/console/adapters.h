// The machine's adapters as the console programs look for them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// By the connection's name, letter case ignored.
Adapter* FindAdapterNamed(MachineState& state, std::string_view name);

// Another adapter has the address. A disconnected one keeps it from others all the same, a disabled one does not.
bool IsUsedElsewhere(const MachineState& state, const Adapter& adapter, const std::string& address);

// Both families of an adapter by one word.
FamilySettings& ActiveSettings(Adapter& adapter, bool ipv6);
FamilySettings& StoredSettings(Adapter& adapter, bool ipv6);
std::vector<Route>& RoutesOf(MachineState& state, bool ipv6);
std::vector<Route>& DormantRoutesOf(MachineState& state, bool ipv6);

// The route with the same destination, interface and next hop is there; its metric does not matter (MIB_IPFORWARD_ROW2
// on Microsoft Learn).
bool HasRoute(const std::vector<Route>& routes, const Route& route);

// Puts a route in force that is not there yet. A stored one takes the place of what was stored of it; one that is not
// stored, and that a stored copy equals, is that route again.
void PutInForce(MachineState& state, bool ipv6, Route route);

// Takes the routes out of force and answers how many; the stored copies stay.
size_t Deactivate(MachineState& state, bool ipv6, const std::function<bool(const Route&)>& isMeant);

// Takes the routes away, stored copies too, and answers how many.
size_t RemoveRoutes(MachineState& state, bool ipv6, const std::function<bool(const Route&)>& isMeant);

}  // namespace moorlak::lab
