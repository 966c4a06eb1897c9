// The netsh commands that change adapters' name servers. Names and addresses are safe ones (net/dns/dns_backup.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "process/command_line.h"

namespace moorlak {

// What a physical adapter's name server is set to during a session: nobody answers there.
inline constexpr std::string_view kNeutralDnsServer = "127.0.0.1";

// Milliseconds that a command on the tunnel's adapter, and on any other, is given.
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

// Whether an adapter gets its servers back from the network, as it had them, or had none.
bool TakesDnsFromDhcp(bool dhcp, const std::vector<std::string>& servers);

// What gives an adapter back its IPv4 servers, in order: its static ones, or DHCP when it had DHCP or none. Unsafe
// servers behind the first are left out, at their own position. The first one is safe.
std::vector<HiddenCommand> RestoreIpv4Dns(std::string_view adapter, bool dhcp, const std::vector<std::string>& servers);

}  // namespace moorlak
