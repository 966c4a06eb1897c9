// The engine's own tunnel inbound, which lets it see the program of each connection.
#pragma once

#include <string>
#include <vector>

namespace moorlak {

// Inserts the inbound at the start of the text's "inbounds", followed by a comma. A text that already has such an
// inbound, or has no "inbounds", is returned unchanged. Uses at most four of the name servers, or the fallback servers
// if there are none.
std::string InjectTunInbound(std::string configText, const std::vector<std::string>& dnsList);

}  // namespace moorlak
