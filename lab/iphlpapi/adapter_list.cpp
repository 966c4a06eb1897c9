#include "iphlpapi/adapter_list.h"

#include <algorithm>

#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kSkipUnicast = 0x1;
constexpr uint32_t kSkipMulticast = 0x4;
constexpr uint32_t kSkipDnsServers = 0x8;
constexpr uint32_t kIncludePrefixes = 0x10;
constexpr uint32_t kSkipFriendlyName = 0x20;
constexpr uint32_t kIncludeGateways = 0x80;
constexpr uint32_t kIncludeAllInterfaces = 0x100;
constexpr uint32_t kDocumentedFlags = 0x7FF;

bool IsAskedFor(const AdapterQuery& query, bool ipv6) {
  return query.family == Family::Any || query.family == (ipv6 ? Family::Ipv6 : Family::Ipv4);
}

void AppendPrefixes(std::vector<Address>& prefixes, const Address& own, bool ipv6) {
  const uint32_t whole = ipv6 ? 128 : 32;
  if (own.prefixLength < whole) {
    const std::string network = NetworkOf(own.address, own.prefixLength, ipv6);
    prefixes.push_back({network, own.prefixLength});
  }
  prefixes.push_back({own.address, whole});
}

void AppendGateways(std::vector<std::string>& gateways, const std::vector<Route>& routes, uint64_t luid) {
  for (const Route& route : routes) {
    const bool onLink = route.nextHop == "0.0.0.0" || route.nextHop == "::";
    if (route.luid == luid && route.prefixLength == 0 && !onLink) gateways.push_back(route.nextHop);
  }
}

void AppendFamily(ListedAdapter& listed, const MachineState& state, const Adapter& adapter, const AdapterQuery& query,
                  bool ipv6) {
  const FamilySettings& settings = SettingsOf(adapter, ipv6);
  if (!settings.bound || !IsAskedFor(query, ipv6)) return;
  if (!query.skipUnicast)
    listed.unicast.insert(listed.unicast.end(), settings.addresses.begin(), settings.addresses.end());
  if (!query.skipMulticast && IsUp(adapter)) listed.multicast.emplace_back(ipv6 ? "ff02::1" : "224.0.0.1");
  if (!query.skipDnsServers) {
    const std::vector<std::string>& servers = settings.staticDns.empty() ? settings.learnedDns : settings.staticDns;
    listed.dnsServers.insert(listed.dnsServers.end(), servers.begin(), servers.end());
  }
  if (query.includePrefixes) {
    for (const Address& own : settings.addresses) AppendPrefixes(listed.prefixes, own, ipv6);
  }
  if (query.includeGateways) AppendGateways(listed.gateways, ipv6 ? state.ipv6Routes : state.ipv4Routes, adapter.luid);
}

std::string NetworkGuidOf(const MachineState& state, const Adapter& adapter) {
  const auto found = std::ranges::find(state.networks, adapter.guid, &Network::adapterGuid);
  return found != state.networks.end() ? found->id : std::string();
}

ListedAdapter Listed(const MachineState& state, const Adapter& adapter, const AdapterQuery& query) {
  ListedAdapter listed;
  listed.guid = adapter.guid;
  if (!query.skipFriendlyName) listed.friendlyName = adapter.name;
  listed.description = adapter.description;
  listed.networkGuid = NetworkGuidOf(state, adapter);
  listed.luid = adapter.luid;
  listed.type = adapter.type;
  listed.up = IsUp(adapter);
  listed.ifIndex = adapter.ipv4.bound ? adapter.ipv4.ifIndex : 0;
  listed.ipv6IfIndex = adapter.ipv6.bound ? adapter.ipv6.ifIndex : 0;
  listed.dhcp = adapter.ipv4.bound && adapter.ipv4.dhcp;
  listed.ipv4 = adapter.ipv4.bound;
  listed.ipv6 = adapter.ipv6.bound;
  listed.ipv4Metric = adapter.ipv4.bound ? MetricInForce(adapter, false) : 0;
  listed.ipv6Metric = adapter.ipv6.bound ? MetricInForce(adapter, true) : 0;
  for (const bool ipv6 : {false, true}) AppendFamily(listed, state, adapter, query, ipv6);
  return listed;
}

bool IsListed(const MachineState& state, const Adapter& adapter, const AdapterQuery& query) {
  if (!adapter.enabled || adapter.listedFromMs > state.record.clockMs) return false;
  return query.includeAllInterfaces || (adapter.ipv4.bound && IsAskedFor(query, false)) ||
         (adapter.ipv6.bound && IsAskedFor(query, true));
}

}  // namespace

bool QueryOfFlags(uint32_t flags, AdapterQuery& query) {
  query.skipUnicast = (flags & kSkipUnicast) != 0;
  query.skipMulticast = (flags & kSkipMulticast) != 0;
  query.skipDnsServers = (flags & kSkipDnsServers) != 0;
  query.skipFriendlyName = (flags & kSkipFriendlyName) != 0;
  query.includePrefixes = (flags & kIncludePrefixes) != 0;
  query.includeGateways = (flags & kIncludeGateways) != 0;
  query.includeAllInterfaces = (flags & kIncludeAllInterfaces) != 0;
  return (flags & ~kDocumentedFlags) == 0;
}

uint32_t ListAdapters(const MachineState& state, const AdapterQuery& query, std::vector<ListedAdapter>& listed) {
  listed.clear();
  for (const Adapter& adapter : state.adapters) {
    if (IsListed(state, adapter, query)) listed.push_back(Listed(state, adapter, query));
  }
  return listed.empty() ? kNoData : kDone;
}

}  // namespace moorlak::lab
