// Bringing the machine's traffic into the tunnel, and watching over it.
#pragma once

namespace moorlak {

struct VpnService;

// Body of the session thread: connects, then stays until an engine dies or a stop is asked for. When it returns,
// running and ready are clear, the engines are ended and, unless a stop undoes it, the machine is put back.
void RunVpnSession(VpnService& service) noexcept;

}  // namespace moorlak
