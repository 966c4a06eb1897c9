// The routes that the system keeps over a restart, as far as it tells.
#pragma once

#include <vector>

#include "net/routing/journaled_routes.h"

namespace moorlak {

// What `route -p ADD` has stored: the values below Tcpip\Parameters\PersistentRoutes in the registry, as the page
// "route" of the Windows commands on Microsoft Learn tells. Routes that `netsh` stores stand elsewhere, in a place that
// is not documented. Empty when they cannot be read.
std::vector<AddedRoute> ReadPersistentRoutes();

}  // namespace moorlak
