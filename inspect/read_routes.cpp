#include "inspect/read_parts.h"
#include "net/routing/route_journal.h"
#include "net/routing/route_table.h"

namespace moorlak::inspect {

void ReadRouteParts(MachineView& view) {
  const auto routes = ReadSystemRoutes();
  if (!routes) view.unread.emplace_back("the routes");
  view.routes = routes.value_or(std::vector<SystemRoute>{});
  view.storedRoutes = ReadPersistentRoutes();
}

}  // namespace moorlak::inspect
