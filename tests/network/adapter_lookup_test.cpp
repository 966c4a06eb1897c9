#include "net/adapter/adapter_lookup.h"

#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <thread>

#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;
using Addresses = std::vector<Ipv4Address>;

constexpr uint32_t kEthernetType = 6;
constexpr uint32_t kPatienceMs = 60000;

class AdapterLookup : public OnSimulatedMachine {
 protected:
  static AdapterInfo Read(const std::string& name, uint32_t flags = 0) {
    const auto adapters = ReadAdapters(AF_UNSPEC, flags);
    EXPECT_TRUE(adapters);
    if (!adapters) return {};
    const auto found = std::ranges::find(*adapters, name, &AdapterInfo::nameUtf8);
    EXPECT_NE(found, adapters->end()) << name;
    return found != adapters->end() ? *found : AdapterInfo{};
  }
};

TEST_F(AdapterLookup, AnAdapterIsReadWithAllItsSettings) {
  Start(lab::ThreeStaticServersMachine());
  const lab::Adapter expected = lab::ReadMachine().adapters[1];
  const AdapterInfo ethernet = Read("Ethernet");
  EXPECT_EQ(ethernet.name, L"Ethernet");
  EXPECT_EQ(ethernet.ifIndex, expected.ipv4.ifIndex);
  EXPECT_EQ(ethernet.ipv6IfIndex, expected.ipv6.ifIndex);
  EXPECT_EQ(ethernet.luid, expected.luid);
  EXPECT_EQ(ethernet.type, kEthernetType);
  EXPECT_TRUE(ethernet.up);
  EXPECT_FALSE(ethernet.dhcp);
  EXPECT_EQ(ethernet.ipv4Addresses, Addresses{{0xC000020A}});  // 192.0.2.10
  EXPECT_EQ(ethernet.ipv4DnsServers, (Texts{"203.0.113.7", "149.112.112.112", "198.51.100.53"}));
}

TEST_F(AdapterLookup, LearnedServersAreReadWhereNoneWasSet) {
  Start(lab::DhcpMachine());
  EXPECT_EQ(Read("Ethernet").ipv4DnsServers, Texts{"192.0.2.53"});
  EXPECT_TRUE(Read("Ethernet").dhcp);
  EXPECT_FALSE(Read("Wi-Fi").up);
}

TEST_F(AdapterLookup, NamesWithCyrillicLettersAndBlanksComeThrough) {
  Start(lab::MixedMachine());
  EXPECT_EQ(Read("Беспроводная сеть").ipv4Addresses, Addresses{{0xC000040A}});  // 192.0.4.10
  EXPECT_EQ(Read("Local Area Connection 2").ipv4DnsServers.front(), "203.0.113.7");
  EXPECT_EQ(Read("R&D").ipv4Addresses, Addresses{{0xC000050A}});  // 192.0.5.10
}

TEST_F(AdapterLookup, AnIpv6OnlyAdapterHasAnIpv6IndexOnly) {
  Start(lab::Ipv6OnlyMachine());
  EXPECT_EQ(Read("Ethernet").ifIndex, 0u);
  EXPECT_NE(Read("Ethernet").ipv6IfIndex, 0u);
}

TEST_F(AdapterLookup, AListThatGrowsBetweenTheCallsIsReadAgain) {
  Start(lab::DhcpMachine());
  PlanFault("grow", "GetAdaptersAddresses", "read", 1, 4000);
  EXPECT_EQ(Read("Ethernet").ipv4Addresses, Addresses{{0xC000020A}});  // 192.0.2.10
  EXPECT_EQ(CallsOf("GetAdaptersAddresses").size(), 3u);
}

TEST_F(AdapterLookup, AnAdapterThatComesUpBetweenTheCallsIsInTheList) {
  Start(lab::DhcpMachine());
  PlanFault("break", "GetAdaptersAddresses", "read", 1, 0);
  std::jthread plugger([] {
    EXPECT_TRUE(lab::WaitForBreak(kPatienceMs));
    lab::EditMachine([](lab::MachineState& machine) { lab::AddPhysicalAdapter(machine, "Late", kEthernetType, 9); });
    lab::ReleaseBreak();
  });
  EXPECT_EQ(Read("Late").ipv4Addresses, Addresses{{0xC000090A}});  // 192.0.9.10
}

TEST_F(AdapterLookup, AListThatGrowsAtEveryTryIsNotRead) {
  Start(lab::DhcpMachine());
  PlanFault("grow", "GetAdaptersAddresses", "read", 0, 64);
  EXPECT_FALSE(ReadAdapters(AF_INET, 0));
}

TEST_F(AdapterLookup, AFailingSizeOrReadMeansNoList) {
  for (const char* which : {"size", "read"}) {
    Start(TunnelMachine());
    PlanFault("fail", "GetAdaptersAddresses", which, 0, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(ReadAdapters(AF_INET, 0));
    EXPECT_FALSE(FindTunnelAdapter());
    EXPECT_EQ(FindTunnelAdapterName(), L"");
    EXPECT_EQ(FindAdapterIndex(), 0u);
  }
}

TEST_F(AdapterLookup, OfSeveralTunnelAdaptersThePlainNameIsChosenThenTheLowestNumber) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine, "Moorlak 10");
  const uint64_t second = AddTunnelAdapter(machine, "Moorlak 2").luid;
  Start(machine);
  EXPECT_EQ(FindTunnelAdapterName(), L"Moorlak 2");
  EXPECT_EQ(FindTunnelAdapter().value_or(AdapterInfo{}).luid, second);
  const uint64_t plain = AddTunnelAdapter(machine).luid;
  Start(machine);
  EXPECT_EQ(FindTunnelAdapterName(), L"Moorlak");
  EXPECT_EQ(FindTunnelAdapter().value_or(AdapterInfo{}).luid, plain);
}

TEST_F(AdapterLookup, ATunnelAdapterWithoutASessionIsFoundAndDown) {
  lab::MachineState machine = lab::DhcpMachine();
  lab::Adapter& tunnel = AddTunnelAdapter(machine);
  tunnel.sessionProcess = 0;
  Start(machine);
  EXPECT_EQ(FindAdapterIndex(), tunnel.ipv4.ifIndex);
  EXPECT_FALSE(FindTunnelAdapter().value_or(AdapterInfo{}).up);
}

// As when an engine's own adapter takes the name over: the adapter that is up counts, whatever the names are.
TEST_F(AdapterLookup, OfSeveralTunnelAdaptersTheOneThatIsUpIsChosen) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine).sessionProcess = 0;
  const lab::Adapter up = AddTunnelAdapter(machine, "Moorlak 7");
  Start(machine);
  EXPECT_EQ(FindTunnelAdapterName(), L"Moorlak 7");
  EXPECT_EQ(TunnelAdapterName(), "Moorlak 7");
  EXPECT_EQ(FindAdapterIndex(), up.ipv4.ifIndex);
  EXPECT_EQ(FindTunnelAdapter().value_or(AdapterInfo{}).luid, up.luid);
  EXPECT_TRUE(IsTunnelAdapterUp());
  EXPECT_EQ(FindAdapterIndexes(), (std::vector<uint32_t>{up.ipv4.ifIndex - 1, up.ipv4.ifIndex}));
}

TEST_F(AdapterLookup, WithoutOneThatIsUpCommandsGoToTheOneThatIsDownAndWithoutAnyToThePlainName) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine, "Moorlak 7").sessionProcess = 0;
  Start(machine);
  EXPECT_EQ(TunnelAdapterName(), "Moorlak 7");
  EXPECT_FALSE(IsTunnelAdapterUp());
  Start(lab::DhcpMachine());
  EXPECT_EQ(TunnelAdapterName(), "Moorlak");
  EXPECT_FALSE(IsTunnelAdapterUp());
  EXPECT_TRUE(FindAdapterIndexes().empty());
}

TEST_F(AdapterLookup, WithoutATunnelAdapterThereIsNoNameAndNoIndex) {
  Start(lab::MixedMachine());
  EXPECT_EQ(FindTunnelAdapterName(), L"");
  EXPECT_EQ(FindAdapterIndex(), 0u);
}

TEST_F(AdapterLookup, ADisabledTunnelAdapterIsNotFound) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine).enabled = false;
  Start(machine);
  EXPECT_EQ(FindTunnelAdapterName(), L"");
}

}  // namespace
}  // namespace moorlak
