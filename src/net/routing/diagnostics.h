// What the tunnel log says about the machine's routes if a connect fails.
#pragma once

#include <string>

namespace moorlak {

// Logs the block of lines; changes nothing. The two texts are the session's data (dotted quads, empty if unknown).
void LogConnectDiagnostics(const std::string& physicalGateway, const std::string& serverBypassIp) noexcept;

}  // namespace moorlak
