// The system proxy: the per-connection options of the LAN connection, as WinINet keeps them for the account that this
// process runs as ("Setting and Retrieving Internet Options" of Microsoft Learn).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "proxy/proxy_restore.h"

namespace moorlak {

// The options as they stand; nothing when they cannot be read.
std::optional<ProxySettings> ReadSystemProxy();

// Points the system proxy at the SOCKS port of a host (UTF-8). What stood before is written to the recovery file first,
// and without that nothing is changed. A backup of an earlier session is put back before; if that fails, what it holds
// stays the backup, and one of another account is never overwritten. False when the proxy is not set; it then stands as
// before.
bool SetSystemProxy(std::string_view host, uint16_t port) noexcept;

// Puts back what the recovery file holds, as far as the settings are still ours, and deletes the file. False when
// something was to be put back and could not be; the file then stays for the next try. Any thread may call it, at any
// time, as often as it likes; without a file it does nothing.
bool RestoreSystemProxy() noexcept;

}  // namespace moorlak
