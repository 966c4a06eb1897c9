#include <windows.h>

#include "net/routing/quick_teardown.h"
#include "net/routing/tunnel_route.h"
#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

class StoredDefaultRoute : public OnSimulatedMachine {
 protected:
  // A machine on which `route DELETE` leaves what `netsh` has stored, with two adapters that have names of ours.
  static lab::MachineState Machine() {
    lab::MachineState machine = lab::DhcpMachine();
    machine.routeKeepsStored = true;
    AddTunnelAdapter(machine);
    AddTunnelAdapter(machine, "Moorlak 1").ipv4.addresses.clear();
    return machine;
  }
};

TEST_F(StoredDefaultRoute, GoesFromEveryAdapterOfOurNamesInSilence) {
  Start(Machine());
  AddTunnelDefaultRoute("Moorlak");
  AddTunnelDefaultRoute("Moorlak 1");
  FastDropDefaultRoutes();
  EXPECT_EQ(lab::ReadMachine().dormantIpv4Routes.size(), 2u);
  const std::string told = LogMessages();
  RemoveStoredDefaultRoute(DefaultRouteGeneration());
  EXPECT_TRUE(lab::ReadMachine().dormantIpv4Routes.empty());
  EXPECT_EQ(Now(), Before());
  RemoveStoredDefaultRoute(DefaultRouteGeneration());
  EXPECT_EQ(LogMessages(), told);
}

// Removing it would also remove the next session's route.
TEST_F(StoredDefaultRoute, YieldsToALaterSessionsClaim) {
  Start(Machine());
  const uint64_t earlier = DefaultRouteGeneration();
  AddTunnelDefaultRoute("Moorlak");
  const std::string up = Now();
  RemoveStoredDefaultRoute(earlier);
  EXPECT_EQ(Now(), up);
  RemoveStoredDefaultRoute(DefaultRouteGeneration());
  EXPECT_EQ(Now(), Before());
}

TEST_F(StoredDefaultRoute, OfAnotherAdapterStays) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.dormantIpv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", machine.adapters[1].luid, 1, true});
  Start(machine);
  RemoveStoredDefaultRoute(DefaultRouteGeneration());
  EXPECT_EQ(Now(), Before());
  EXPECT_TRUE(CallsOf("netsh").empty());
}

}  // namespace
}  // namespace moorlak
