// The service as a test sees it that expects it to die.
#pragma once

#include <optional>
#include <string>

#include "ipc/wire_format.h"

namespace moorlak::session {

bool IsServiceAlive();

// Starts it and waits until it answers on its pipe; false when it died before.
bool StartsAndLives();

// A request and its reply; nothing when the service is dead or dies meanwhile.
std::optional<std::string> AskService(CommandCode code, const std::string& payload = {});

}  // namespace moorlak::session
