// Finds the VPN server in an engine configuration.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// The server's host as written in the text; empty if none is found. Looks first at outbounds of known proxy protocols,
// then at "vnext" lists, WireGuard endpoints, any "outbounds" and "servers"; skips names of this machine. Writes what
// it found or skipped to standard error.
std::string ExtractServerAddress(std::string_view configText);

// The host of a URL, of HOST:PORT or of [IPv6]:PORT; otherwise the text itself.
std::string SplitHostFromUrl(std::string_view candidate);

}  // namespace moorlak
