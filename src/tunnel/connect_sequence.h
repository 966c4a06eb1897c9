// Brings the machine's traffic into the tunnel and monitors it.
#pragma once

#include <array>

#include "tunnel/connect_steps.h"

namespace moorlak {

struct VpnService;

// Body of the session thread: connects, then runs until an engine dies or a stop is requested. When it returns, running
// and ready are clear, the engines have ended and, unless a stop does it, the machine's changes are undone.
void RunVpnSession(VpnService& service) noexcept;

// The tables in the order of execution: the beginning of every session, then one of the two paths (tun2socks; the
// engine's own tunnel inbound).
std::array<ConnectSteps, 3> ConnectStepTables();

}  // namespace moorlak
