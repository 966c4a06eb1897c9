// The service for tests that expect it to die.
#pragma once

#include <optional>
#include <string>

#include "ipc/wire_format.h"

namespace moorlak::session {

bool IsServiceAlive();

// Starts it and waits until it replies on its pipe. False if it died first.
bool StartsAndLives();

// A request and its reply; nullopt if the service is dead or dies meanwhile.
std::optional<std::string> AskService(CommandCode code, const std::string& payload = {});

}  // namespace moorlak::session
