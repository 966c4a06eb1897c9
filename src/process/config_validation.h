// Asks the engine whether it would run a configuration.
#pragma once

#include <atomic>
#include <string>

#include "process/engine_token.h"

namespace moorlak {

// True if the engine's own test accepts the file (paths are UTF-8). Blocks for at most 18 seconds: an engine that has
// not finished after 15 is ended, which counts as exit code 1. Failures are logged. The engine runs with the account's
// rights. A configuration that it then refuses is tested again with the service's own rights, which doubles the longest
// time; if it passes, the account has these rights from then on. There is no second test if the flag is given and clear
// by then: a stop ends the engine, which is not a refusal.
bool ValidateXrayConfig(const std::string& xrayPath, const std::string& configPath, EngineAccount& account,
                        const std::atomic<bool>* running = nullptr) noexcept;

}  // namespace moorlak
