// The netsh commands that change adapters' name servers. Names and addresses must be safe (net/dns/dns_backup.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "process/command_line.h"

namespace moorlak {

// A physical adapter's name server during a session: usually no server replies there.
inline constexpr std::string_view kNeutralDnsServer = "127.0.0.1";

// Time limits in milliseconds for commands on the tunnel's adapter and on any other.
inline constexpr uint32_t kTunnelDnsMs = 2500;
inline constexpr uint32_t kAdapterDnsMs = 1500;

HiddenCommand DeleteIpv4Dns(std::string_view adapter);
HiddenCommand DeleteIpv6Dns(std::string_view adapter);
HiddenCommand SetStaticDns(std::string_view adapter, std::string_view server, uint32_t timeoutMs);
// The position counts from 1.
HiddenCommand AddStaticDns(std::string_view adapter, std::string_view server, size_t position, uint32_t timeoutMs);
HiddenCommand SetIpv4DnsFromDhcp(std::string_view adapter);
HiddenCommand SetIpv6DnsFromDhcp(std::string_view adapter);
HiddenCommand FlushDns();

// Whether to restore an adapter's servers from DHCP: it had DHCP, or no servers.
bool TakesDnsFromDhcp(bool dhcp, const std::vector<std::string>& servers);

// The commands that restore an adapter's IPv4 servers, in order: its static ones, or DHCP if it had DHCP or none. The
// first server must be safe; unsafe ones after it are left out, and the others keep their positions.
std::vector<HiddenCommand> RestoreIpv4Dns(std::string_view adapter, bool dhcp, const std::vector<std::string>& servers);

}  // namespace moorlak
