// What a VPN start does to the engine's configuration. In a session: ParseConfigMeta, PrepareVpnXrayConfig,
// RemapBusyPorts, then staging, which takes "allowInsecure" out.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "config/bypass_executables.h"
#include "config/config_meta.h"

namespace moorlak {

// More than what the edits of a usual configuration add. A text that comes with room for as many bytes is edited where
// it stands; one without moves to new memory.
inline constexpr size_t kRoomForEdits = 8192;

// Makes a configuration fit the service: IPv4 loopback, traffic statistics and their API, name servers, routing rules
// and, when applications are to bypass the tunnel, the engine's own tunnel inbound. Every edit is one of text: a key
// counts as there when its quoted name stands anywhere, a section goes right behind the first brace. An edit that finds
// no place is left out. Logs what it did. The engine's name servers found in the text replace the given list.
std::string PrepareVpnXrayConfig(std::string configText, const ConfigMeta& meta, const ListExecutables& listExecutables,
                                 std::vector<std::string>& xrayDnsServers);

}  // namespace moorlak
