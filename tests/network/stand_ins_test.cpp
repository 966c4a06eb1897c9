// The IP Helper calls themselves: that the stand-in is loaded, and errors that only its marshalling can make.
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <cstring>
#include <iphlpapi.h>

#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

class IpHelper : public OnSimulatedMachine {};

uint32_t NetworkOrder(const char* address) {
  in_addr number{};
  EXPECT_EQ(inet_pton(AF_INET, address, &number), 1);
  return number.s_addr;
}

MIB_IPINTERFACE_ROW InterfaceRow(ADDRESS_FAMILY family, NET_IFINDEX index) {
  MIB_IPINTERFACE_ROW row{};
  InitializeIpInterfaceEntry(&row);
  row.Family = family;
  row.InterfaceIndex = index;
  return row;
}

TEST_F(IpHelper, StandInIsLoaded) {
  Start(lab::DhcpMachine());
  MIB_IPFORWARDROW row{};
  ASSERT_EQ(GetBestRoute(NetworkOrder("149.112.112.112"), 0, &row), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(CallsOf("GetBestRoute"), std::vector<std::string>{"149.112.112.112 -> 0"});
  EXPECT_EQ(row.dwForwardNextHop, NetworkOrder("192.0.2.1"));
  EXPECT_EQ(row.dwForwardType, static_cast<DWORD>(MIB_IPROUTE_TYPE_INDIRECT));
}

TEST_F(IpHelper, NullPointersAndOtherFamiliesAreRefused) {
  Start(lab::DhcpMachine());
  ULONG size = 0;
  EXPECT_EQ(GetIpForwardTable(nullptr, nullptr, TRUE), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(GetIpForwardTable2(AF_INET, nullptr), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  MIB_IPFORWARD_TABLE2* table = nullptr;
  EXPECT_EQ(GetIpForwardTable2(AF_IPX, &table), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(GetAdaptersAddresses(AF_INET, 0, nullptr, nullptr, nullptr), static_cast<ULONG>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(GetAdaptersAddresses(AF_IPX, 0, nullptr, nullptr, &size), static_cast<ULONG>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(GetBestRoute(0, 0, nullptr), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(DeleteIpForwardEntry(nullptr), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(GetIpInterfaceEntry(nullptr), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(SetIpInterfaceEntry(nullptr), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(DeleteUnicastIpAddressEntry(nullptr), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  MIB_IPINTERFACE_ROW row = InterfaceRow(AF_UNSPEC, 1);
  EXPECT_EQ(GetIpInterfaceEntry(&row), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  MIB_UNICASTIPADDRESS_ROW address{};
  InitializeUnicastIpAddressEntry(&address);
  address.InterfaceIndex = 1;
  EXPECT_EQ(DeleteUnicastIpAddressEntry(&address), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(Now(), Before());
}

TEST_F(IpHelper, TheAdapterListIsOneBlockOfTheSizeThatWasAskedFor) {
  Start(lab::MixedMachine());
  ULONG size = 0;
  ASSERT_EQ(GetAdaptersAddresses(AF_UNSPEC, 0x90, nullptr, nullptr, &size), static_cast<ULONG>(ERROR_BUFFER_OVERFLOW));
  constexpr size_t kGuard = 64;
  std::vector<std::byte> buffer(size + kGuard, std::byte{0xA5});
  ULONG tooSmall = size - 1;
  auto* list = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
  ASSERT_EQ(GetAdaptersAddresses(AF_UNSPEC, 0x90, nullptr, list, &tooSmall), static_cast<ULONG>(ERROR_BUFFER_OVERFLOW));
  EXPECT_EQ(tooSmall, size);
  ASSERT_EQ(GetAdaptersAddresses(AF_UNSPEC, 0x90, nullptr, list, &size), static_cast<ULONG>(NO_ERROR));
  for (size_t i = size; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], std::byte{0xA5});
  const auto isInside = [&](const void* piece) {
    const auto* place = static_cast<const std::byte*>(piece);
    return place >= buffer.data() && place < buffer.data() + size;
  };
  size_t count = 0;
  for (const auto* adapter = list; adapter != nullptr; adapter = adapter->Next, ++count) {
    EXPECT_EQ(adapter->Length, sizeof(IP_ADAPTER_ADDRESSES));
    EXPECT_TRUE(isInside(adapter) && isInside(adapter->FriendlyName) && isInside(adapter->AdapterName));
    for (const auto* own = adapter->FirstUnicastAddress; own != nullptr; own = own->Next)
      EXPECT_TRUE(isInside(own) && isInside(own->Address.lpSockaddr));
  }
  EXPECT_EQ(count, lab::MixedMachine().adapters.size());
}

TEST_F(IpHelper, AnIpv4EntryIsWrittenBackOnlyWithoutItsSitePrefixLength) {
  Start(lab::DhcpMachine());
  MIB_IPINTERFACE_ROW row = InterfaceRow(AF_INET, lab::ReadMachine().adapters[1].ipv4.ifIndex);
  ASSERT_EQ(GetIpInterfaceEntry(&row), static_cast<DWORD>(NO_ERROR));
  EXPECT_NE(row.SitePrefixLength, 0u);
  EXPECT_EQ(SetIpInterfaceEntry(&row), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  row.SitePrefixLength = 0;
  EXPECT_EQ(SetIpInterfaceEntry(&row), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(Now(), Before());
}

TEST_F(IpHelper, AnEntryThatWasNeverInitializedOrReadIsNotWritten) {
  Start(lab::DhcpMachine());
  MIB_IPINTERFACE_ROW row{};
  row.Family = AF_INET;
  row.InterfaceIndex = lab::ReadMachine().adapters[1].ipv4.ifIndex;
  row.Metric = 1;
  EXPECT_EQ(SetIpInterfaceEntry(&row), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(Now(), Before());
}

TEST_F(IpHelper, WhatInitializeLeavesUnspecifiedStays) {
  Start(lab::ThreeStaticServersMachine());
  MIB_IPINTERFACE_ROW row = InterfaceRow(AF_INET, lab::ReadMachine().adapters[1].ipv4.ifIndex);
  row.SitePrefixLength = 0;
  EXPECT_EQ(SetIpInterfaceEntry(&row), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(Now(), Before());
}

TEST_F(IpHelper, TheIpv4EntryOfAnIpv6OnlyAdapterIsNotFound) {
  Start(lab::Ipv6OnlyMachine());
  MIB_IPINTERFACE_ROW row = InterfaceRow(AF_INET, lab::ReadMachine().adapters[1].ipv6.ifIndex);
  EXPECT_EQ(GetIpInterfaceEntry(&row), static_cast<DWORD>(ERROR_NOT_FOUND));
}

TEST_F(IpHelper, TheNewerTableHoldsTheOffsetAloneTheOlderOneTheSum) {
  Start(lab::DhcpMachine());
  MIB_IPFORWARD_TABLE2* table = nullptr;
  ASSERT_EQ(GetIpForwardTable2(AF_INET, &table), static_cast<DWORD>(NO_ERROR));
  bool found = false;
  for (ULONG i = 0; i < table->NumEntries; ++i) {
    const MIB_IPFORWARD_ROW2& row = table->Table[i];
    if (row.DestinationPrefix.PrefixLength != 0) continue;
    found = true;
    EXPECT_EQ(row.Metric, 0u);
    EXPECT_EQ(row.NextHop.Ipv4.sin_addr.s_addr, NetworkOrder("192.0.2.1"));
    MIB_IPFORWARDROW best{};
    EXPECT_EQ(GetBestRoute(NetworkOrder("203.0.113.7"), 0, &best), static_cast<DWORD>(NO_ERROR));
    EXPECT_EQ(best.dwForwardMetric1, 25u);
    EXPECT_EQ(best.dwForwardIfIndex, row.InterfaceIndex);
  }
  EXPECT_TRUE(found);
  FreeMibTable(table);
}

}  // namespace
}  // namespace moorlak
