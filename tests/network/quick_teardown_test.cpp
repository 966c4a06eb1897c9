#include "net/routing/quick_teardown.h"

#include <windows.h>

#include "network/support/simulated_machine.h"
#include "process/service_end.h"

namespace moorlak {
namespace {

class QuickTeardown : public OnSimulatedMachine {
 protected:
  // The machine without its tunnel's default route, and also without the tunnel's address.
  static std::string WithoutDefault() {
    lab::MachineState machine = lab::DhcpMachine();
    AddTunnelAdapter(machine);
    return lab::Show(machine);
  }
};

TEST_F(QuickTeardown, TheTunnelsDefaultRouteGoesAndNothingElse) {
  Start(TunnelMachine());
  EXPECT_EQ(FastDropDefaultRoutes(), 1u);
  EXPECT_EQ(Now(), WithoutDefault());
  EXPECT_EQ(LogMessages(), "fast-disconnect: dropped 1 Moorlak default route(s)\n");
  EXPECT_EQ(CallsOf("route").size(), 1u);
}

TEST_F(QuickTeardown, EveryDefaultRouteOfTheTunnelGoesByItsHopOrItsAdapter) {
  lab::MachineState machine = TunnelMachine();
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "0.0.0.0", machine.adapters.back().luid, 0, false});
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", machine.adapters[1].luid, 0, false});
  Start(machine);
  EXPECT_EQ(FastDropDefaultRoutes(), 3u);
  EXPECT_EQ(Now(), WithoutDefault());
}

TEST_F(QuickTeardown, RoutesAndAddressGoFromAllOurAdaptersUpOrDown) {
  lab::MachineState machine = lab::DhcpMachine();
  lab::Adapter& down = AddTunnelAdapter(machine);
  down.sessionProcess = 0;
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "0.0.0.0", down.luid, 0, false});
  const lab::Adapter up = AddTunnelAdapter(machine, "Moorlak 1");
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "0.0.0.0", up.luid, 0, false});
  Start(machine);
  EXPECT_EQ(FastDropDefaultRoutes(), 2u);
  EXPECT_TRUE(FastClearTunnelAddress());
  EXPECT_EQ(LogMessages(),
            "fast-disconnect: dropped 2 Moorlak default route(s)\n"
            "fast-disconnect: cleared Moorlak address 10.0.85.2\n");
  for (const lab::Adapter& adapter : lab::ReadMachine().adapters) {
    for (const lab::Address& address : adapter.ipv4.addresses) EXPECT_NE(address.address, "10.0.85.2") << adapter.name;
  }
}

TEST_F(QuickTeardown, AnAddressIsFreedForOneOfOurAdaptersOnEveryOther) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine, "Moorlak 1").sessionProcess = 0;
  AddTunnelAdapter(machine, "Somebody else's");
  AddTunnelAdapter(machine);
  Start(machine);
  FreeTunnelAddressFor("Moorlak");
  const lab::MachineState now = lab::ReadMachine();
  const size_t first = now.adapters.size() - 3;
  EXPECT_TRUE(now.adapters[first].ipv4.addresses.empty());
  EXPECT_EQ(now.adapters[first + 1].ipv4.addresses.size(), 1u);
  EXPECT_EQ(now.adapters[first + 2].ipv4.addresses.size(), 1u);
  EXPECT_EQ(LogMessages(), "");
}

TEST_F(QuickTeardown, WithoutATunnelTheRoutesAreDroppedInSilence) {
  Start(lab::DhcpMachine());
  EXPECT_EQ(FastDropDefaultRoutes(), 0u);
  EXPECT_FALSE(FastClearTunnelAddress());
  EXPECT_EQ(LogMessages(), "");
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(CallsOf("route").size(), 1u);
}

TEST_F(QuickTeardown, ATableThatCannotBeReadMeansNoFurtherAction) {
  for (const char* which : {"size", "read"}) {
    Start(TunnelMachine());
    PlanFault("fail", "GetIpForwardTable", which, 0, ERROR_NOT_SUPPORTED);
    EXPECT_EQ(FastDropDefaultRoutes(), 0u);
    EXPECT_TRUE(CallsOf("route").empty());
    EXPECT_EQ(Now(), Before());
  }
}

TEST_F(QuickTeardown, ARouteThatTheCallDoesNotDeleteGoesByTheCommand) {
  Start(TunnelMachine());
  PlanFault("fail", "DeleteIpForwardEntry", "", 1, ERROR_ACCESS_DENIED);
  EXPECT_EQ(FastDropDefaultRoutes(), 0u);
  EXPECT_EQ(Now(), WithoutDefault());
  EXPECT_EQ(LogMessages(), "");
}

// Within one stop: another try would only hang for as long again.
TEST_F(QuickTeardown, ACommandThatPassedItsTimeIsNotTriedAgainWhileThatIsRecorded) {
  Start(TunnelMachine());
  std::atomic<bool> commandHung{true};
  EXPECT_EQ(FastDropDefaultRoutes(commandHung), 1u);
  EXPECT_TRUE(CallsOf("route").empty());
  commandHung = false;
  EXPECT_EQ(FastDropDefaultRoutes(commandHung), 0u);
  EXPECT_EQ(CallsOf("route").size(), 1u);
  EXPECT_FALSE(commandHung);
}

TEST_F(QuickTeardown, ACommandThatNeverComesBackIsRecorded) {
  Start(TunnelMachine());
  PlanFault("hang", "route", "DELETE 0.0.0.0", 0, 1);
  BeginServiceEnd(500);
  std::atomic<bool> commandHung{false};
  EXPECT_EQ(FastDropDefaultRoutes(commandHung), 1u);
  EXPECT_TRUE(commandHung);
  ForgetServiceEnd();
}

TEST_F(QuickTeardown, TheTunnelsAddressGoesWithItsOnLinkRoutesAndOnlyOnce) {
  Start(TunnelMachine());
  EXPECT_TRUE(FastClearTunnelAddress());
  EXPECT_EQ(LogMessages(), "fast-disconnect: cleared Moorlak address 10.0.85.2\n");
  const lab::MachineState machine = lab::ReadMachine();
  EXPECT_TRUE(machine.adapters.back().ipv4.addresses.empty());
  for (const lab::Route& route : machine.ipv4Routes)
    EXPECT_TRUE(route.luid != machine.adapters.back().luid || route.prefixLength == 0) << route.destination;
  EXPECT_FALSE(FastClearTunnelAddress());
}

TEST_F(QuickTeardown, AnotherAdaptersAddressStaysThoughItIsTheSame) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine).name = "Somebody else's";
  Start(machine);
  EXPECT_FALSE(FastClearTunnelAddress());
  EXPECT_EQ(Now(), Before());
}

TEST_F(QuickTeardown, AnotherAddressOfTheTunnelAdapterStays) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine).ipv4.addresses = {{"10.0.85.3", 24}};
  Start(machine);
  EXPECT_FALSE(FastClearTunnelAddress());
  EXPECT_EQ(Now(), Before());
}

TEST_F(QuickTeardown, AnAddressThatCannotBeDeletedIsNotReportedAsCleared) {
  Start(TunnelMachine());
  PlanFault("fail", "DeleteUnicastIpAddressEntry", "", 1, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(FastClearTunnelAddress());
  EXPECT_EQ(LogMessages(), "");
  EXPECT_EQ(Now(), Before());
}

}  // namespace
}  // namespace moorlak
