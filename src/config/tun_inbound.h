// The engine's own tunnel inbound, by which it sees the program behind each connection.
#pragma once

#include <string>
#include <vector>

namespace moorlak {

// Puts the inbound in front of the text's "inbounds", with a comma behind it. A text that has such an inbound or has no
// "inbounds" comes back as it is. At most four of the name servers are used, the fallback servers when there are none.
std::string InjectTunInbound(std::string configText, const std::vector<std::string>& dnsList);

}  // namespace moorlak
