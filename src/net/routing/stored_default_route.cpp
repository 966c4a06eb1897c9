#include "net/routing/stored_default_route.h"

#include <winsock2.h>
#include <windows.h>

#include <atomic>
#include <optional>
#include <vector>

#include "base/guarded.h"
#include "base/mutex.h"
#include "net/adapter/adapter_lookup.h"
#include "net/adapter/adapter_name.h"
#include "net/routing/route_plan.h"
#include "process/hidden_command.h"

namespace moorlak {
namespace {

struct DefaultRouteState {
  Mutex lock;
  // Written under the lock.
  std::atomic<uint64_t> generation{0};
};
DefaultRouteState defaultRoute;

void RemoveFromAllLocked() REQUIRES(defaultRoute.lock) {
  const std::optional<std::vector<AdapterInfo>> adapters = ReadAdapters(AF_UNSPEC, kAddressesOnlyFlags);
  if (!adapters) return;
  for (const AdapterInfo& adapter : *adapters) {
    // Our names consist of letters, a blank and digits, which are safe in a command line.
    if (!IsOurAdapterName(adapter.name)) continue;
    RunHiddenCommand(StoredDefaultDeleteCommand(adapter.nameUtf8));
  }
}

}  // namespace

DefaultRouteClaim::DefaultRouteClaim() : guard(defaultRoute.lock) {
  ++defaultRoute.generation;
}

uint64_t DefaultRouteGeneration() noexcept {
  return defaultRoute.generation;
}

void RemoveStoredDefaultRoute(uint64_t wantedGeneration) noexcept {
  Guarded([wantedGeneration] {
    const MutexGuard guard(defaultRoute.lock);
    if (wantedGeneration == defaultRoute.generation) RemoveFromAllLocked();
  });
}

}  // namespace moorlak
