// Brings the machine's traffic into the tunnel and monitors it.
#pragma once

namespace moorlak {

struct VpnService;

// Body of the session thread: connects, then runs until an engine dies or a stop is requested. When it returns, running
// and ready are clear, the engines have ended and, unless a stop does it, the machine's changes are undone.
void RunVpnSession(VpnService& service) noexcept;

}  // namespace moorlak
