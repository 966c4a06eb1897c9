// The stored copy of the tunnel's default route. `netsh` stores what it adds. Once the active route is gone, `route
// DELETE` does not find the copy on every system, and the next start of the system would activate it again.
#pragma once

#include <cstdint>

#include "base/mutex.h"

namespace moorlak {

// Held while the tunnel's default route is added: no removal runs meanwhile, and a removal requested earlier, at the
// end of an earlier session, does nothing. It would remove the new route, too.
class DefaultRouteClaim {
 public:
  DefaultRouteClaim();
  DefaultRouteClaim(const DefaultRouteClaim&) = delete;
  DefaultRouteClaim& operator=(const DefaultRouteClaim&) = delete;

 private:
  MutexGuard guard;
};

// Identifies the latest claim; a removal that runs later on another thread is given this number.
uint64_t DefaultRouteGeneration() noexcept;

// Removes the copy from every adapter with one of our names; having none is not a failure and is not logged. Does
// nothing if there was another claim since. Blocks for at most five seconds for each such adapter.
void RemoveStoredDefaultRoute(uint64_t generation) noexcept;

}  // namespace moorlak
