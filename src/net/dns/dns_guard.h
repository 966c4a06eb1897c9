// The DNS guard: filters that let port 53 and IPv6 leave only through the tunnel adapter, while the engine itself may
// reach the tunnel's name servers over any interface. A filter set (net/wfp/filter_set.h), which is removed and purged
// like any other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/ipv4.h"
#include "net/wfp/filter_row.h"

namespace moorlak {

struct FilterSet;
struct FilterSetKind;

extern const FilterSetKind kDnsGuardFilters;

inline constexpr size_t kMaxDnsGuardFilters = 24;

struct DnsGuardPlan {
  // In the order of adding; at most kMaxDnsGuardFilters.
  std::vector<FilterRow> filters;
  // False if the limit left one out. Such a guard has a hole and must not be installed.
  bool complete = true;
};

// The engine itself may query each permitted address on port 53 over any interface. Every other
// program may use port 53 and IPv6 only through the tunnel. The rows' conditions on the application refer to the
// engine.
DnsGuardPlan PlanDnsGuard(uint64_t tunnelLuid, const std::vector<Ipv4Address>& permitAddresses);

// The hosts' addresses, in order. An entry that is not strictly an address (ParseStrictIpv4), such as a name, is left
// out and logged.
std::vector<Ipv4Address> ReadPermitHosts(const std::vector<std::string>& hosts);

// The log line for a filter that could not be added.
std::string DnsGuardAddFailure(const FilterRow& filter, uint32_t code);

// Replaces what the set installed before. The LUID is the tunnel adapter's (0 if unknown, which fails), the path
// is that of xray.exe (UTF-8), and the hosts are the tunnel's name servers as dotted IPv4 text. Installs everything or
// nothing, and logs why it failed.
bool InstallDnsGuard(FilterSet& guard, uint64_t luid, const std::string& xrayPath,
                     const std::vector<std::string>& permitHosts) noexcept;

}  // namespace moorlak
