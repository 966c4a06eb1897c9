// Probes of local ports. Each starts and ends Winsock itself, so any thread may call them.
#pragma once

#include <cstdint>

namespace moorlak {

// Whether a TCP socket can be bound to this port on 127.0.0.1. A failure before the bind counts as busy. The port is
// not held afterwards.
bool IsLoopbackPortFree(uint16_t port) noexcept;

// A port that the system chooses for 127.0.0.1; 0 if it gives none. The port is not held afterwards.
uint16_t PickFreeLoopbackPort() noexcept;

}  // namespace moorlak
