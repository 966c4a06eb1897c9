// Probes of local ports. Each starts and ends Winsock by itself, so any thread may call them.
#pragma once

#include <cstdint>

namespace moorlak {

// Whether a TCP socket can be bound to 127.0.0.1 and the port. A failure before the bind counts as busy. Nothing holds
// the port afterwards.
bool IsLoopbackPortFree(uint16_t port) noexcept;

// A port that the system chooses for 127.0.0.1, 0 when it gives none. Nothing holds the port afterwards.
uint16_t PickFreeLoopbackPort() noexcept;

}  // namespace moorlak
