// Clients in the service's own folder that behave badly.
#pragma once

#include <cstddef>
#include <string>

#include "machine/support/random_source.h"

namespace moorlak::machine {

// One connection of a client that sends a bad frame, leaves early, reads late or sends a configuration that never
// reaches an engine. Returns what violated the pipe's rules, empty if nothing did.
std::string MisbehaveOnce(RandomSource& random);

// One connection that stalls at that stage until the service drops it: before sending anything, within the payload
// length, within the payload, or with the reply unread. Returns the same as MisbehaveOnce.
std::string StallOnce(size_t stage);
inline constexpr size_t kStallStages = 4;

}  // namespace moorlak::machine
