// Clients that lie well in the service's folder and behave badly.
#pragma once

#include <cstddef>
#include <string>

#include "machine/support/random_source.h"

namespace moorlak::machine {

// One connection of a client that sends a bad frame, leaves early, reads late or sends a configuration that no engine
// ever sees. Returns what it got that the pipe's rules do not allow; empty when all was right.
std::string MisbehaveOnce(RandomSource& random);

// One connection that stalls until the service drops it, at the stage of that number: without a word, within the
// payload length, within the payload, or with the reply unread. The same result as above.
std::string StallOnce(size_t stage);
inline constexpr size_t kStallStages = 4;

}  // namespace moorlak::machine
