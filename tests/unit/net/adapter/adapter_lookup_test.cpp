#include "net/adapter/adapter_lookup.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <iphlpapi.h>

namespace moorlak {
namespace {

const AdapterInfo* Loopback(const std::optional<std::vector<AdapterInfo>>& adapters) {
  if (!adapters) return nullptr;
  const auto found = std::ranges::find(*adapters, static_cast<uint32_t>(IF_TYPE_SOFTWARE_LOOPBACK), &AdapterInfo::type);
  return found != adapters->end() ? &*found : nullptr;
}

TEST(AdapterLookup, TheLoopbackAdapterIsListedWithItsAddress) {
  const auto adapters = ReadAdapters(AF_INET, kAddressesOnlyFlags);
  const AdapterInfo* loopback = Loopback(adapters);
  ASSERT_NE(loopback, nullptr);
  EXPECT_TRUE(loopback->up);
  EXPECT_NE(loopback->ifIndex, 0u);
  EXPECT_NE(loopback->luid, 0u);
  EXPECT_FALSE(loopback->name.empty());
  EXPECT_FALSE(loopback->nameUtf8.empty());
  EXPECT_EQ(loopback->ipv4Addresses, std::vector<Ipv4Address>{{0x7F000001}});
}

TEST(AdapterLookup, AddressesThatTheFlagsSkipAreNotListed) {
  const auto adapters = ReadAdapters(AF_INET, GAA_FLAG_SKIP_UNICAST);
  const AdapterInfo* loopback = Loopback(adapters);
  ASSERT_NE(loopback, nullptr);
  EXPECT_TRUE(loopback->ipv4Addresses.empty());
}

TEST(AdapterLookup, WithoutATunnelAdapterThereIsNoNameAndNoIndex) {
  EXPECT_FALSE(FindTunnelAdapter());
  EXPECT_EQ(FindTunnelAdapterName(), L"");
  EXPECT_EQ(FindAdapterIndex(), 0u);
}

}  // namespace
}  // namespace moorlak
