// The stored copy of the tunnel's default route. `netsh` stores what it adds, and once the route in force is gone,
// `route DELETE` does not find the copy on every system; the next start of the system would put it in force again.
#pragma once

#include <cstdint>
#include <mutex>

namespace moorlak {

// Held by whoever adds the tunnel's default route: no removal runs meanwhile, and one that was asked for before, by an
// earlier session's end, comes to nothing. It would take the new route along.
class DefaultRouteClaim {
 public:
  DefaultRouteClaim();
  DefaultRouteClaim(const DefaultRouteClaim&) = delete;
  DefaultRouteClaim& operator=(const DefaultRouteClaim&) = delete;

 private:
  std::lock_guard<std::mutex> guard;
};

// Identifies the latest claim: a removal that runs later, on another thread, carries it along.
uint64_t DefaultRouteGeneration() noexcept;

// Removes the copy from every adapter that bears a name of ours; that there is none is no failure and not logged.
// Nothing when there was another claim since. Blocks for at most five seconds for each such adapter.
void RemoveStoredDefaultRoute(uint64_t generation) noexcept;

}  // namespace moorlak
