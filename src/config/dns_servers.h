// Name servers in an engine configuration, and those that the tunnel uses.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// The tunnel's servers if the configuration names none (Quad9).
inline constexpr std::string_view kFallbackDnsServers[] = {"9.9.9.9", "149.112.112.112"};
inline constexpr size_t kMaxDnsServers = 4;

// At most four distinct quoted IPv4 addresses from the "servers" array of the "dns" section, in order.
std::vector<std::string> ReadXrayDnsServers(std::string_view configText);

// The first four of the engine's servers; the fallback servers if it has none.
std::vector<std::string> GetTunnelDnsServers(const std::vector<std::string>& xrayDnsServers);

// True if the "dns" section has a non-empty "servers" array. The largest accepted distances between its pieces are one
// byte shorter than for reading the array.
bool HasXrayDnsServers(std::string_view configText);

// The end of the "servers" array that follows the section's key, however far away; kNotFound if part of it is missing.
size_t EndOfXrayDnsServers(std::string_view configText, size_t section);

// Each address in double quotes.
std::string QuotedList(const std::vector<std::string>& addresses, std::string_view separator);

}  // namespace moorlak
