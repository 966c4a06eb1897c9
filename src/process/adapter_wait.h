// Waiting for the tunnel adapter that an engine brings up.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "process/session_watch.h"

namespace moorlak {

// True once the finder answers with a name. False when the session is to end, when an engine exits (told on standard
// error, unless the session is to end anyway) and at the time-out; a name that appears just then still counts while
// tun2socks runs. Looks every 200 ms.
bool WaitForTunnelAdapter(const SessionWatch& session, const std::function<std::wstring()>& findAdapterName,
                          uint32_t timeoutMs) noexcept;

}  // namespace moorlak
