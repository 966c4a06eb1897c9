// The system proxy: the per-connection options of the LAN connection, as WinINet stores them for the account that this
// process runs as ("Setting and Retrieving Internet Options" on Microsoft Learn).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "proxy/proxy_restore.h"

namespace moorlak {

// The current options; nullopt if they cannot be read.
std::optional<ProxySettings> ReadSystemProxy();

// Points the system proxy at the SOCKS port of a host (UTF-8). First restores a backup of an earlier session; if this
// fails, that backup's settings are kept as the backup. Then writes the settings to restore later to the recovery file,
// and changes nothing if that fails. Never overwrites another account's backup. False if the proxy is not set; it is
// then as before.
bool SetSystemProxy(std::string_view host, uint16_t port) noexcept;

// Restores the settings of the recovery file, as far as the current ones are still ours, and deletes the file. False if
// a restore was needed and failed; the file then stays for the next try. Any thread may call it at any time and
// repeatedly; without a file it does nothing.
bool RestoreSystemProxy() noexcept;

}  // namespace moorlak
