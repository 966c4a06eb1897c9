// Name servers in an engine configuration, and those that the tunnel uses.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// The tunnel's servers when the configuration names none (Quad9).
inline constexpr std::string_view kFallbackDnsServers[] = {"9.9.9.9", "149.112.112.112"};
inline constexpr size_t kMostDnsServers = 4;

// Up to four different quoted IPv4 addresses in the "servers" array of the "dns" section, in their order.
std::vector<std::string> ReadXrayDnsServers(std::string_view configText);

// The first four of the engine's servers; the fallback servers when it has none.
std::vector<std::string> GetTunnelDnsServers(const std::vector<std::string>& xrayDnsServers);

// True when the "dns" section has a "servers" array with anything in it. The distances between its pieces may be one
// byte shorter here than when the array is read.
bool HasXrayDnsServers(std::string_view configText);

// The position behind the "servers" array that follows the section's key, however far; kNotFound when a piece of it is
// missing.
size_t EndOfXrayDnsServers(std::string_view configText, size_t section);

// Each address in double quotes.
std::string QuotedList(const std::vector<std::string>& addresses, std::string_view separator);

}  // namespace moorlak
