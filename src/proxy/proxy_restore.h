// The system proxy's backup: what it holds, its text in the recovery file, and what of it goes back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// The per-connection options of the LAN connection ("INTERNET_PER_CONN_OPTION" of Microsoft Learn). A text that is not
// there differs from an empty one: writing one for the other would change the user's settings.
struct ProxySettings {
  uint32_t flags = 0;
  std::optional<std::string> server;
  std::optional<std::string> bypass;
  std::optional<std::string> pacUrl;

  bool operator==(const ProxySettings&) const = default;
};

// What the recovery file keeps: the settings found before ours, the server text that we set, and the SID of the account
// whose settings they are: the file is the machine's, the settings are one account's. Flags and bypass list of ours are
// constants.
struct ProxyBackup {
  ProxySettings previous;
  std::string ourServer;
  std::string accountSid;

  bool operator==(const ProxyBackup&) const = default;
};

// Bits of the flags (PROXY_TYPE_DIRECT and so on).
inline constexpr uint32_t kProxyTypeDirect = 1;
inline constexpr uint32_t kProxyTypeProxy = 2;

// What this program sets beside the server.
inline constexpr uint32_t kOurProxyFlags = kProxyTypeDirect | kProxyTypeProxy;
inline constexpr std::string_view kOurProxyBypass =
    "localhost;127.*;10.*;172.16.*;172.17.*;172.18.*;172.19.*;172.20.*;172.21.*;172.22.*;172.23.*;172.24.*;172.25.*;"
    "172.26.*;172.27.*;172.28.*;172.29.*;172.30.*;172.31.*;192.168.*";
std::string OurProxyServer(std::string_view host, uint16_t port);  // "socks=HOST:PORT"

// Lines of the file, each ended by a line feed: "v1", previous flags in decimal, previous server, bypass list and PAC
// address, our server, account. A text stands behind "="; "-" alone means that it was not there. Inside a text `\\`,
// `\r` and
// `\n` stand for backslash, carriage return and line feed.
std::string FormatProxyBackup(const ProxyBackup& backup);

// Nothing when the file is not exactly of that form: half a backup is none.
std::optional<ProxyBackup> ParseProxyBackup(std::string_view file);

// Which of the previous settings go back. What the user changed meanwhile stays.
struct RestorePlan {
  bool flags = false;
  bool server = false;
  bool bypass = false;
  bool pacUrl = false;

  bool Any() const { return flags || server || bypass || pacUrl; }
  bool operator==(const RestorePlan&) const = default;
};
RestorePlan PlanRestore(const ProxyBackup& backup, const ProxySettings& current);

}  // namespace moorlak
