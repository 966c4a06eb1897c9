// The system proxy: the per-connection options of the LAN connection, as WinINet stores them for the account that this
// process runs as ("Setting and Retrieving Internet Options" on Microsoft Learn).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// The per-connection options of the LAN connection ("INTERNET_PER_CONN_OPTION" on Microsoft Learn). A missing text
// differs from an empty one: writing one instead of the other would change the user's settings.
struct ProxySettings {
  uint32_t flags = 0;
  std::optional<std::string> server;
  std::optional<std::string> bypass;
  std::optional<std::string> pacUrl;

  bool operator==(const ProxySettings&) const = default;
};

// The content of the recovery file: the settings found before ours, the server text that we set, and the SID of the
// account they belong to, because the file is the machine's but the settings are one account's. Our flags and bypass
// list are constants.
struct ProxyBackup {
  ProxySettings previous;
  std::string ourServer;
  std::string accountSid;

  bool operator==(const ProxyBackup&) const = default;
};

// Bits of the flags (PROXY_TYPE_DIRECT and so on).
inline constexpr uint32_t kProxyTypeDirect = 1;
inline constexpr uint32_t kProxyTypeProxy = 2;

// What this program sets in addition to the server.
inline constexpr uint32_t kOurProxyFlags = kProxyTypeDirect | kProxyTypeProxy;
inline constexpr std::string_view kOurProxyBypass =
    "localhost;127.*;10.*;172.16.*;172.17.*;172.18.*;172.19.*;172.20.*;172.21.*;172.22.*;172.23.*;172.24.*;172.25.*;"
    "172.26.*;172.27.*;172.28.*;172.29.*;172.30.*;172.31.*;192.168.*";
std::string OurProxyServer(std::string_view host, uint16_t port);  // "socks=HOST:PORT"

// Lines of the file, each ending with a line feed: "v1", previous flags in decimal, previous server, bypass list and
// PAC address, our server, account. A text follows "="; "-" alone means that it was missing. Inside a text `\\`, `\r`
// and `\n` mean backslash, carriage return and line feed.
std::string FormatProxyBackup(const ProxyBackup& backup);

// nullopt if the file does not have exactly this form: an incomplete backup is not used.
std::optional<ProxyBackup> ParseProxyBackup(std::string_view file);

// Which of the previous settings to restore. What the user changed meanwhile stays.
struct RestorePlan {
  bool flags = false;
  bool server = false;
  bool bypass = false;
  bool pacUrl = false;

  bool Any() const { return flags || server || bypass || pacUrl; }
  bool operator==(const RestorePlan&) const = default;
};
RestorePlan PlanRestore(const ProxyBackup& backup, const ProxySettings& current);

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
