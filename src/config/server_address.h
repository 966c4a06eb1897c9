// Finding the VPN server in an engine configuration.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// The server's host as it stands in the text, empty when none is found. Outbounds of known proxy protocols are looked
// at first, "vnext" lists, WireGuard endpoints, any "outbounds" and "servers" after that; names of the own machine are
// passed over. Tells what it found or skipped on standard error.
std::string ExtractServerAddress(std::string_view configText);

// The host of a URL, of HOST:PORT, of [IPv6]:PORT, or the text itself.
std::string SplitHostFromUrl(std::string_view candidate);

}  // namespace moorlak
