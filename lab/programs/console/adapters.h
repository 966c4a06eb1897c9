// How the console programs find the machine's adapters and routes.
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

// Whether another adapter has the address. A disconnected adapter still occupies its address, a disabled one does not.
bool IsUsedElsewhere(const MachineState& state, const Adapter& adapter, const std::string& address);

// Selects one family's settings or routes.
FamilySettings& ActiveSettings(Adapter& adapter, bool ipv6);
FamilySettings& StoredSettings(Adapter& adapter, bool ipv6);
std::vector<Route>& RoutesOf(MachineState& state, bool ipv6);
std::vector<Route>& DormantRoutesOf(MachineState& state, bool ipv6);

// Whether there is a route with the same destination, interface and next hop; the metric does not matter
// (MIB_IPFORWARD_ROW2 on Microsoft Learn).
bool HasRoute(const std::vector<Route>& routes, const Route& route);

// Puts a route in force that does not exist yet. A stored route replaces its stored copy. A route that is not stored
// but equals a stored copy is that stored route again.
void ActivateRoute(MachineState& state, bool ipv6, Route route);

// Takes the routes out of force and returns how many; the stored copies stay.
size_t Deactivate(MachineState& state, bool ipv6, const std::function<bool(const Route&)>& isMeant);

// Removes the routes and their stored copies and returns how many.
size_t RemoveRoutes(MachineState& state, bool ipv6, const std::function<bool(const Route&)>& isMeant);

}  // namespace moorlak::lab
