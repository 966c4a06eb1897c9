#include "net/dns/dns_guard.h"

#include <algorithm>
#include <string_view>

#include "base/log.h"

namespace moorlak {
namespace {

constexpr wchar_t kPermitName[] = L"Moorlak allow Xray DNS bypass";
constexpr wchar_t kDnsBlockName[] = L"Moorlak DNS leak guard";
constexpr wchar_t kIPv6BlockName[] = L"Moorlak IPv6 leak guard";
constexpr uint16_t kDnsPort = 53;
constexpr uint8_t kPermitWeight = 15;
constexpr uint8_t kBlockWeight = 8;

FilterCondition OffTunnel(uint64_t tunnelLuid) {
  return {FilterField::LocalInterface, FilterMatch::NotEqual, tunnelLuid};
}

FilterRow PermitRow(uint8_t protocol, Ipv4Address address) {
  return {kPermitName,
          FilterLayer::ConnectV4,
          {{FilterField::Application, FilterMatch::Equal, 0},
           {FilterField::Protocol, FilterMatch::Equal, protocol},
           {FilterField::RemotePort, FilterMatch::Equal, kDnsPort},
           {FilterField::RemoteAddress, FilterMatch::Equal, address.number}},
          FilterAction::Permit,
          kPermitWeight};
}

FilterRow DnsBlockRow(FilterLayer layer, uint8_t protocol, uint64_t tunnelLuid) {
  return {kDnsBlockName,
          layer,
          {{FilterField::Protocol, FilterMatch::Equal, protocol},
           {FilterField::RemotePort, FilterMatch::Equal, kDnsPort},
           OffTunnel(tunnelLuid)},
          FilterAction::Block,
          kBlockWeight};
}

FilterRow IPv6BlockRow(uint64_t tunnelLuid) {
  return {kIPv6BlockName, FilterLayer::ConnectV6, {OffTunnel(tunnelLuid)}, FilterAction::Block, kBlockWeight};
}

void Add(DnsGuardPlan& plan, FilterRow row) {
  plan.complete = plan.complete && plan.filters.size() < kMaxDnsGuardFilters;
  if (plan.complete) plan.filters.push_back(std::move(row));
}

bool IsTcp(const FilterRow& filter) {
  return std::ranges::find(filter.conditions, FilterCondition{FilterField::Protocol, FilterMatch::Equal,
                                                              kProtocolTcp}) != filter.conditions.end();
}

}  // namespace

DnsGuardPlan PlanDnsGuard(uint64_t tunnelLuid, const std::vector<Ipv4Address>& permitAddresses) {
  DnsGuardPlan plan;
  for (const Ipv4Address address : permitAddresses) {
    Add(plan, PermitRow(kProtocolUdp, address));
    Add(plan, PermitRow(kProtocolTcp, address));
  }
  for (const FilterLayer layer : {FilterLayer::ConnectV4, FilterLayer::ConnectV6}) {
    Add(plan, DnsBlockRow(layer, kProtocolUdp, tunnelLuid));
    Add(plan, DnsBlockRow(layer, kProtocolTcp, tunnelLuid));
  }
  Add(plan, IPv6BlockRow(tunnelLuid));
  return plan;
}

std::vector<Ipv4Address> ReadPermitHosts(const std::vector<std::string>& hosts) {
  std::vector<Ipv4Address> addresses;
  for (const std::string& host : hosts) {
    if (const auto address = ParseStrictIpv4(host)) {
      addresses.push_back(*address);
    } else {
      WriteLogLine("dns-guard: skip invalid DNS permit host " + host);
    }
  }
  return addresses;
}

std::string DnsGuardAddFailure(const FilterRow& filter, uint32_t code) {
  const std::string number = std::to_string(code);
  const std::wstring_view name = filter.name;
  if (name == kPermitName) return "dns-guard: permit filter failed " + number;
  if (name == kIPv6BlockName) return "dns-guard: IPv6 outbound block failed " + number;
  return "dns-guard: FwpmFilterAdd failed " + number + (IsTcp(filter) ? " tcp" : " udp");
}

}  // namespace moorlak
