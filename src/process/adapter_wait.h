// Waits for the tunnel adapter that an engine brings up.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "process/cancellable_wait.h"

namespace moorlak {

// How to look for the adapter. Called on the waiting thread, while the caller holds no lock.
struct AdapterFinder {
  // Empty while there is none.
  std::function<std::wstring()> name;
  // Whether an adapter with that name is operationally up.
  std::function<bool()> isUp;
};

// True once the finder returns a name. False if the session is ending, if an engine exits (written to standard error,
// unless the session is ending anyway), and at the time-out; a name that appears just then still counts while tun2socks
// runs. Looks every 200 ms.
//
// The adapter with that name may be an older one, which the engine will replace with its own. So, within the time-out,
// this waits up to 5 s more until one is up. It then returns true whether one is up or not, unless the session is
// ending. An engine's exit ends this second wait; the following steps report it.
bool WaitForTunnelAdapter(const SessionWatch& session, const AdapterFinder& finder, uint32_t timeoutMs) noexcept;

}  // namespace moorlak
