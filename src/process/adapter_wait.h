// Waiting for the tunnel adapter that an engine brings up.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "process/session_watch.h"

namespace moorlak {

// How to look for the adapter. Called on the waiting thread, without a lock of the caller's held.
struct AdapterFinder {
  // Empty while there is none.
  std::function<std::wstring()> name;
  // One of that name is operationally up.
  std::function<bool()> isUp;
};

// True once the finder answers with a name. False when the session is to end, when an engine exits (told on standard
// error, unless the session is to end anyway) and at the time-out; a name that appears just then still counts while
// tun2socks runs. Looks every 200 ms.
//
// The adapter of that name may be an older one that the engine is about to replace by its own: within the time-out up
// to 5 s more are waited until one is up. The answer is true whether one is or not, unless the session is to end
// meanwhile; an engine's exit ends this second wait, and the steps behind it tell.
bool WaitForTunnelAdapter(const SessionWatch& session, const AdapterFinder& finder, uint32_t timeoutMs) noexcept;

}  // namespace moorlak
