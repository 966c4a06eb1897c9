// The routes that the system keeps over a restart, as far as they can be read.
#pragma once

#include <vector>

#include "net/routing/journaled_routes.h"

namespace moorlak {

// What `route -p ADD` has stored: the values below Tcpip\Parameters\PersistentRoutes in the registry, as the page
// "route" of the Windows commands on Microsoft Learn says. Routes stored by `netsh` are in another, undocumented place.
// Empty if they cannot be read.
std::vector<Ipv4Route> ReadPersistentRoutes();

}  // namespace moorlak
