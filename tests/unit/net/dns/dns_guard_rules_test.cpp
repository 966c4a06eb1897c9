#include <algorithm>
#include <gtest/gtest.h>
#include <string_view>

#include "net/dns/dns_guard.h"
#include "unit/log_lines.h"

namespace moorlak {
namespace {

constexpr uint64_t kLuid = 0x0035000001000000;
constexpr Ipv4Address kFirst{0xCB007107};   // 203.0.113.7
constexpr Ipv4Address kSecond{0x95707070};  // 149.112.112.112

std::vector<Ipv4Address> Addresses(uint32_t count) {
  std::vector<Ipv4Address> addresses;
  for (uint32_t index = 0; index < count; ++index) addresses.push_back({kFirst.number + index});
  return addresses;
}

ptrdiff_t Permits(const DnsGuardPlan& plan) {
  return std::ranges::count(plan.filters, FilterAction::Permit, &FilterRow::action);
}

void ExpectPermit(const FilterRow& row, uint8_t protocol, Ipv4Address address) {
  EXPECT_EQ(std::wstring_view(row.name), L"Moorlak allow Xray DNS bypass");
  EXPECT_EQ(row.layer, FilterLayer::ConnectV4);
  EXPECT_EQ(row.action, FilterAction::Permit);
  EXPECT_EQ(row.weight, 15);
  EXPECT_EQ(row.conditions,
            (std::vector<FilterCondition>{{FilterField::Application, FilterMatch::Equal, 0},
                                          {FilterField::Protocol, FilterMatch::Equal, protocol},
                                          {FilterField::RemotePort, FilterMatch::Equal, 53},
                                          {FilterField::RemoteAddress, FilterMatch::Equal, address.number}}));
}

void ExpectDnsBlock(const FilterRow& row, FilterLayer layer, uint8_t protocol) {
  EXPECT_EQ(std::wstring_view(row.name), L"Moorlak DNS leak guard");
  EXPECT_EQ(row.layer, layer);
  EXPECT_EQ(row.action, FilterAction::Block);
  EXPECT_EQ(row.weight, 8);
  EXPECT_EQ(row.conditions,
            (std::vector<FilterCondition>{{FilterField::Protocol, FilterMatch::Equal, protocol},
                                          {FilterField::RemotePort, FilterMatch::Equal, 53},
                                          {FilterField::LocalInterface, FilterMatch::NotEqual, kLuid}}));
}

TEST(DnsGuardRules, PermitEachAddressForUdpThenTcp) {
  const DnsGuardPlan plan = PlanDnsGuard(kLuid, {kFirst, kSecond});
  ASSERT_EQ(plan.filters.size(), 9U);
  ExpectPermit(plan.filters[0], 17, kFirst);
  ExpectPermit(plan.filters[1], 6, kFirst);
  ExpectPermit(plan.filters[2], 17, kSecond);
  ExpectPermit(plan.filters[3], 6, kSecond);
}

TEST(DnsGuardRules, BlockPort53OfBothFamiliesThenIPv6OffTheTunnel) {
  const DnsGuardPlan plan = PlanDnsGuard(kLuid, {kFirst});
  ASSERT_EQ(plan.filters.size(), 7U);
  ExpectDnsBlock(plan.filters[2], FilterLayer::ConnectV4, 17);
  ExpectDnsBlock(plan.filters[3], FilterLayer::ConnectV4, 6);
  ExpectDnsBlock(plan.filters[4], FilterLayer::ConnectV6, 17);
  ExpectDnsBlock(plan.filters[5], FilterLayer::ConnectV6, 6);
  const FilterRow& last = plan.filters[6];
  EXPECT_EQ(std::wstring_view(last.name), L"Moorlak IPv6 leak guard");
  EXPECT_EQ(last.layer, FilterLayer::ConnectV6);
  EXPECT_EQ(last.action, FilterAction::Block);
  EXPECT_EQ(last.weight, 8);
  EXPECT_EQ(last.conditions,
            (std::vector<FilterCondition>{{FilterField::LocalInterface, FilterMatch::NotEqual, kLuid}}));
}

TEST(DnsGuardRules, ThreePermitAddressesGiveElevenFilters) {
  const DnsGuardPlan plan = PlanDnsGuard(kLuid, Addresses(3));
  EXPECT_TRUE(plan.complete);
  EXPECT_EQ(plan.filters.size(), 11U);
  EXPECT_EQ(Permits(plan), 6);
}

TEST(DnsGuardRules, NoMoreThanNinePermitAddressesFit) {
  const DnsGuardPlan plan = PlanDnsGuard(kLuid, Addresses(9));
  EXPECT_TRUE(plan.complete);
  EXPECT_EQ(plan.filters.size(), 23U);
}

TEST(DnsGuardRules, TenPermitAddressesLeaveNoRoomForTheIPv6Block) {
  const DnsGuardPlan plan = PlanDnsGuard(kLuid, Addresses(10));
  EXPECT_FALSE(plan.complete);
  EXPECT_EQ(plan.filters.size(), 24U);
  EXPECT_EQ(Permits(plan), 20);
  ExpectDnsBlock(plan.filters.back(), FilterLayer::ConnectV6, 6);
}

TEST(DnsGuardRules, ThirteenPermitAddressesStopWithinThePermits) {
  const DnsGuardPlan plan = PlanDnsGuard(kLuid, Addresses(13));
  EXPECT_FALSE(plan.complete);
  EXPECT_EQ(plan.filters.size(), 24U);
  EXPECT_EQ(Permits(plan), 24);
}

TEST(DnsGuardRules, SkipAPermitHostThatIsAName) {
  TakeLogLines();
  EXPECT_EQ(ReadPermitHosts({"dns.example", "203.0.113.7", "", "149.112.112.112"}), (std::vector{kFirst, kSecond}));
  EXPECT_EQ(TakeLogLines(), (std::vector<std::string>{"dns-guard: skip invalid DNS permit host dns.example",
                                                      "dns-guard: skip invalid DNS permit host "}));
}

// The patterns that find name servers in a configuration accept more than an address.
TEST(DnsGuardRules, SkipAPermitHostWithNumbersThatNoAddressHas) {
  TakeLogLines();
  EXPECT_TRUE(ReadPermitHosts({"203.0.113.256", "203.0.113.07"}).empty());
  EXPECT_EQ(TakeLogLines(), (std::vector<std::string>{"dns-guard: skip invalid DNS permit host 203.0.113.256",
                                                      "dns-guard: skip invalid DNS permit host 203.0.113.07"}));
}

TEST(DnsGuardRules, ReportWhichFilterFailedWithADecimalCode) {
  const DnsGuardPlan plan = PlanDnsGuard(kLuid, {kFirst});
  ASSERT_EQ(plan.filters.size(), 7U);
  EXPECT_EQ(DnsGuardAddFailure(plan.filters[0], 0x80320009), "dns-guard: permit filter failed 2150760457");
  EXPECT_EQ(DnsGuardAddFailure(plan.filters[1], 5), "dns-guard: permit filter failed 5");
  EXPECT_EQ(DnsGuardAddFailure(plan.filters[4], 5), "dns-guard: FwpmFilterAdd failed 5 udp");
  EXPECT_EQ(DnsGuardAddFailure(plan.filters[5], 5), "dns-guard: FwpmFilterAdd failed 5 tcp");
  EXPECT_EQ(DnsGuardAddFailure(plan.filters[6], 5), "dns-guard: IPv6 outbound block failed 5");
}

}  // namespace
}  // namespace moorlak
