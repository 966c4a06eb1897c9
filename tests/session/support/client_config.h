// Configurations as the user interface sends them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moorlak::session {

// Their host routes go around the tunnel: the web panel's address, one of a chosen domain, and a subnet.
inline constexpr char kPanelHost[] = "198.51.100.20";
inline constexpr char kDirectDomain[] = "198.51.100.30";
inline constexpr char kBypassSubnet[] = "172.16.0.0/12";

struct ClientConfig {
  uint16_t socksPort = 0;
  uint16_t serverPort = 0;
  // Full paths of programs to keep out of the tunnel. The engine then drives the adapter itself.
  std::vector<std::string> blockedApps;
  // Local ports to open to the network.
  std::vector<uint16_t> sharedPorts;
};
std::string ClientConfigText(const ClientConfig& config);

}  // namespace moorlak::session
