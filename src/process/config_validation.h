// Asking the engine whether it would run a configuration.
#pragma once

#include <string>

namespace moorlak {

// True when the engine's own test accepts the file (paths are UTF-8). Blocks for at most 18 seconds: an engine that has
// not answered after 15 is ended, which counts as exit code 1. Failures are logged.
bool ValidateXrayConfig(const std::string& xrayPath, const std::string& configPath) noexcept;

}  // namespace moorlak
