// The user interface's own data inside the engine's configuration: reading it, and cutting it out of the text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// All lists keep the order of the text and its duplicates. Texts are raw, as between the quotes and with their escapes,
// so a Windows path has JSON's doubled backslashes.
struct ConfigMeta {
  // Host of the web panel; empty if missing or not a safe host token.
  std::string panelHost;
  // Subnets to route around the tunnel. Not validated.
  std::vector<std::string> bypassSubnets;
  // Programs whose traffic bypasses the tunnel: full paths or bare names. Only the base name is validated.
  std::vector<std::string> blockedApps;
  // Each is a safe host token (IsSafeHostToken).
  std::vector<std::string> directDomains;
  // Local proxy ports to open to the local network, each 1..65535.
  std::vector<uint32_t> shareProxyPorts;
};

// 1..253 bytes, each a letter, a digit or one of `*-.:_`.
bool IsSafeHostToken(std::string_view token);

// Reads "__moorlak_blocked_apps" and the members of "moorlakMeta", the first of each name in the whole text, and cuts
// the "moorlakMeta" member out of the text. What cannot be read stays empty.
ConfigMeta ParseConfigMeta(std::string& text);

// Cuts out the member whose key begins at that position and whose value is an object or an array, with the blanks
// around it and a comma on either side. Between two members it cuts both commas: the text is then no longer JSON. Cuts
// nothing if the value has no end.
void RemoveJsonMember(std::string& text, size_t keyPosition);

}  // namespace moorlak
