// The configuration that `start` sends, checked before anything reaches the service.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "ipc/wire_format.h"

namespace moorlak {

// The mode byte and the separator take two bytes of the payload.
inline constexpr size_t kMaxConfigBytes = kMaxPayloadBytes - 2;
// What has to be read of a file to judge it: the longest text, its byte-order mark and one byte too many.
inline constexpr size_t kConfigReadLimit = kMaxConfigBytes + 3 + 1;

struct ConfigText {
  // Points into the bytes given.
  std::string_view text;
  // Empty when the text can be sent; otherwise one sentence for the user.
  std::string error;
};

// Leaves out a UTF-8 byte-order mark and refuses what is too long or plainly UTF-16.
ConfigText PrepareConfigText(std::string_view fileBytes);

// Refuses what the service would refuse, in part only after it has ended a session that runs.
ConfigText CheckForStart(ConfigText config);

}  // namespace moorlak
