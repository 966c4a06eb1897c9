// The adapters that GetAdaptersAddresses lists.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "iphlpapi/interfaces.h"
#include "machine/state.h"

namespace moorlak::lab {

// The GAA_FLAG_… flags, named as on "GetAdaptersAddresses function" of Microsoft Learn.
struct AdapterQuery {
  Family family = Family::Any;
  bool skipUnicast = false;
  bool skipMulticast = false;
  bool skipDnsServers = false;
  bool skipFriendlyName = false;
  bool includePrefixes = false;
  bool includeGateways = false;
  bool includeAllInterfaces = false;
};

// Reads GAA_FLAG_… flags into a query; false if an undocumented bit is set.
bool QueryOfFlags(uint32_t flags, AdapterQuery& query);

struct ListedAdapter {
  std::string guid;
  std::string friendlyName;
  std::string description;
  std::string networkGuid;  // empty: none
  uint64_t luid = 0;
  uint32_t type = 0;
  bool up = false;
  // 0 if the family is not bound.
  uint32_t ifIndex = 0;
  uint32_t ipv6IfIndex = 0;
  bool dhcp = false;
  bool ipv4 = false;
  bool ipv6 = false;
  uint32_t ipv4Metric = 0;
  uint32_t ipv6Metric = 0;
  // Of the requested families, IPv4 first.
  std::vector<Address> unicast;
  std::vector<std::string> multicast;
  std::vector<std::string> dnsServers;
  std::vector<Address> prefixes;
  std::vector<std::string> gateways;
};

// Never lists disabled adapters, nor new ones before their time; lists those without the family only if all interfaces
// are requested. Returns 232 if the list is empty.
uint32_t ListAdapters(const MachineState& state, const AdapterQuery& query, std::vector<ListedAdapter>& listed);

}  // namespace moorlak::lab
