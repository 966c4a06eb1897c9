// Asking the engine whether it would run a configuration.
#pragma once

#include <atomic>
#include <string>

#include "process/engine_token.h"

namespace moorlak {

// True when the engine's own test accepts the file (paths are UTF-8). Blocks for at most 18 seconds: an engine that has
// not answered after 15 is ended, which counts as exit code 1. Failures are logged. The engine runs with the account's
// rights; a configuration that it refuses so is tested once more with the service's own, and the account has these
// from then on when it passes. Blocks for twice as long at most then. When the flag, where one is given, is clear by
// then, it is not tested again: a stop ends the engine, which is no refusal.
bool ValidateXrayConfig(const std::string& xrayPath, const std::string& configPath, EngineAccount& account,
                        const std::atomic<bool>* running = nullptr) noexcept;

}  // namespace moorlak
