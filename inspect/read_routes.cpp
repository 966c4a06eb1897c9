#include "inspect/read_parts.h"
#include "net/routing/persistent_routes.h"
#include "net/routing/route_rows.h"
#include "net/routing/route_table.h"

namespace moorlak::inspect {

void ReadRouteParts(MachineView& view) {
  const auto routes = ReadSystemRoutes();
  if (!routes) view.unread.emplace_back("the routes");
  for (const SystemRoute& route : routes.value_or(std::vector<SystemRoute>{}))
    view.routes.push_back(
        {DottedQuad(route.destination), route.prefixLength, DottedQuad(route.nextHop), route.luid, route.metric});
  for (const AddedRoute& route : ReadPersistentRoutes())
    view.storedRoutes.push_back({DottedQuad(route.destination), route.prefixLength, DottedQuad(route.nextHop)});
}

}  // namespace moorlak::inspect
