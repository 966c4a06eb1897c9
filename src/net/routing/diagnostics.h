// What the tunnel log says about the machine's routes when a connect fails.
#pragma once

#include <string>

namespace moorlak {

// Writes the block of lines. The two texts are what the session knows (dotted quads, empty when unknown). Changes
// nothing.
void LogConnectDiagnostics(const std::string& physicalGateway, const std::string& serverBypassIp) noexcept;

}  // namespace moorlak
