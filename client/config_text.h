// The configuration that `start` sends, checked before anything reaches the service.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "ipc/wire_format.h"

namespace moorlak::client {

// The mode byte and the separator take two bytes of the payload.
inline constexpr size_t kMaxConfigBytes = kMaxPayloadBytes - 2;
// How much of a file must be read to judge it: the longest text, a byte-order mark, and one byte too many.
inline constexpr size_t kConfigReadLimit = kMaxConfigBytes + 3 + 1;

struct ConfigText {
  // Points into the caller's bytes.
  std::string_view text;
  // Empty if the text can be sent; otherwise one sentence for the user.
  std::string error;
};

// Drops a UTF-8 byte-order mark; refuses a text that is too long or starts with a UTF-16 byte-order mark.
ConfigText PrepareConfigText(std::string_view fileBytes);

// Refuses what the service would refuse. The service refuses some of it only after it has ended the running session.
ConfigText CheckForStart(ConfigText config);

}  // namespace moorlak::client
