// What a VPN start does to the engine's configuration. The order in a session: ParseConfigMeta, PrepareVpnXrayConfig,
// RemapBusyPorts, then staging, which removes "allowInsecure".
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "config/bypass_executables.h"
#include "config/config_meta.h"

namespace moorlak {

// More than the edits of a usual configuration add. A text with this much spare capacity is edited in place; a text
// without it moves to new memory.
inline constexpr size_t kRoomForEdits = 8192;

// Adapts a configuration to the service: IPv4 loopback, traffic statistics and their API, name servers, routing rules
// and, if applications bypass the tunnel, the engine's own tunnel inbound. Every edit works on text: a key exists if
// its quoted name occurs anywhere, and a section is inserted right after the first brace. An edit that finds no place
// is left out. Logs what it did. The engine's name servers found in the text replace the given list.
std::string PrepareVpnXrayConfig(std::string configText, const ConfigMeta& meta, const ListExecutables& listExecutables,
                                 std::vector<std::string>& xrayDnsServers);

}  // namespace moorlak
