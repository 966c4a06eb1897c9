// What the user interface tells the service inside the engine's configuration, and taking it out of the text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// All lists keep the order of the text and its duplicates. Texts are raw: what stands between the quotes, escapes
// unread, so a Windows path has the doubled backslashes of JSON.
struct ConfigMeta {
  // Host of the web panel; empty when there is none or it is no IsSafeHostToken.
  std::string panelHost;
  // Subnets to route around the tunnel. Not validated.
  std::vector<std::string> bypassSubnets;
  // Programs whose traffic goes around the tunnel: full paths or bare names. Not validated beyond the base name.
  std::vector<std::string> blockedApps;
  // Each an IsSafeHostToken.
  std::vector<std::string> directDomains;
  // 1..65535 each: local proxy ports to open to the local network.
  std::vector<uint32_t> shareProxyPorts;
};

// 1..253 bytes, each a letter, a digit or one of `*-.:_`.
bool IsSafeHostToken(std::string_view token);

// The part behind the last `\` or `/`; the whole when there is neither.
std::string_view BaseName(std::string_view path);

// Reads "__moorlak_blocked_apps" and the members of "moorlakMeta", the first of each name in the whole text, and cuts
// the "moorlakMeta" member out of the text. What cannot be read stays empty.
ConfigMeta ParseConfigMeta(std::string& text);

// Cuts the member whose key begins at that position, whose value is an object or an array, with the blanks around it
// and a comma on either side. Between two members it takes both commas: the text is then no JSON any more. Nothing is
// cut when the value has no end.
void RemoveJsonMember(std::string& text, size_t keyPosition);

}  // namespace moorlak
