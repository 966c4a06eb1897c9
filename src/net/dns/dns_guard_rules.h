// Which filters keep name queries, and IPv6 as a whole, from leaving beside the tunnel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "net/wfp/filter_row.h"

namespace moorlak {

inline constexpr size_t kMostDnsGuardFilters = 24;

struct DnsGuardPlan {
  // In the order in which they are added; at most kMostDnsGuardFilters.
  std::vector<FilterRow> filters;
  // False when the limit left one out. Such a guard has a hole and must not be installed.
  bool complete = true;
};

// The engine itself may ask each permitted address (IPv4, host order) on port 53 over any interface; everybody else may
// ask on port 53 only through the tunnel, and use IPv6 only through the tunnel. The conditions on the application mean
// the engine.
DnsGuardPlan PlanDnsGuard(uint64_t tunnelLuid, const std::vector<uint32_t>& permitAddresses);

// The addresses of the hosts in their order. An entry that the parser does not take (a name) is left out and logged.
using ParseIPv4 = std::function<std::optional<uint32_t>(const std::string& text)>;
std::vector<uint32_t> ReadPermitHosts(const std::vector<std::string>& hosts, const ParseIPv4& parse);

// The log line of a filter that could not be added.
std::string DnsGuardAddFailure(const FilterRow& filter, uint32_t code);

}  // namespace moorlak
