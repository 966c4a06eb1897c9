// What GetAdaptersAddresses lists of the machine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "iphlpapi/interfaces.h"
#include "machine/state.h"

namespace moorlak::lab {

// The flags' names as on "GetAdaptersAddresses function" of Microsoft Learn.
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

// The query of GAA_FLAG_… flags; bits that are none of the documented ones give false.
bool QueryOfFlags(uint32_t flags, AdapterQuery& query);

struct ListedAdapter {
  std::string guid;
  std::string friendlyName;
  std::string description;
  std::string networkGuid;  // empty: none
  uint64_t luid = 0;
  uint32_t type = 0;
  bool up = false;
  // 0 where the family is not bound.
  uint32_t ifIndex = 0;
  uint32_t ipv6IfIndex = 0;
  bool dhcp = false;
  bool ipv4 = false;
  bool ipv6 = false;
  uint32_t ipv4Metric = 0;
  uint32_t ipv6Metric = 0;
  // Of the families that were asked for, IPv4 first.
  std::vector<Address> unicast;
  std::vector<std::string> multicast;
  std::vector<std::string> dnsServers;
  std::vector<Address> prefixes;
  std::vector<std::string> gateways;
};

// Disabled adapters are never listed, nor are new ones before their time; those without the family only when all
// interfaces are wanted. 232 where none is left.
uint32_t ListAdapters(const MachineState& state, const AdapterQuery& query, std::vector<ListedAdapter>& listed);

}  // namespace moorlak::lab
