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

Mutex defaultRouteLock;
// Written under the lock.
std::atomic<uint64_t> generation{0};

void RemoveFromAllLocked() REQUIRES(defaultRouteLock) {
  const std::optional<std::vector<AdapterInfo>> adapters = ReadAdapters(AF_UNSPEC, kAddressesOnlyFlags);
  if (!adapters) return;
  for (const AdapterInfo& adapter : *adapters) {
    // Our names consist of letters, a blank and digits, which are safe in a command line.
    if (!IsOurAdapterName(adapter.name)) continue;
    RunHiddenCommand(StoredDefaultDeleteCommand(adapter.nameUtf8));
  }
}

}  // namespace

DefaultRouteClaim::DefaultRouteClaim() : guard(defaultRouteLock) {
  ++generation;
}

uint64_t DefaultRouteGeneration() noexcept {
  return generation;
}

void RemoveStoredDefaultRoute(uint64_t wantedGeneration) noexcept {
  Guarded([wantedGeneration] {
    const MutexGuard guard(defaultRouteLock);
    if (wantedGeneration == generation) RemoveFromAllLocked();
  });
}

}  // namespace moorlak
