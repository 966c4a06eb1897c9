#include "programs/route/route.h"

#include "lab/programs/console_test.h"

namespace moorlak::lab {
namespace {

constexpr char kAdd[] = "route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1";
constexpr char kNotFound[] = "The route deletion failed: Element not found.";
constexpr char kNoWay[] = "Either the interface index is wrong or the gateway does not lie on the same network";

void Done(MachineState& machine, const std::string& line) {
  ExpectDone(RunRoute, machine, line);
}
void Refused(MachineState& machine, const std::string& line, const std::string& text) {
  ExpectRefused(RunRoute, machine, line, text);
}

// Index of the adapter, as text.
std::string IndexOf(MachineState machine, const std::string& name) {
  return std::to_string(Named(machine, name).ipv4.ifIndex);
}

TEST(RouteAdd, GoesToTheAdapterOnWhoseLinkTheGatewayIs) {
  MachineState machine = MixedMachine();
  Done(machine, "route ADD 203.0.113.7 MASK 255.255.255.255 192.0.3.1 METRIC 1");
  const Route expected{"203.0.113.7", 32, "192.0.3.1", Named(machine, "Local Area Connection 2").luid, 1, false};
  EXPECT_EQ(machine.ipv4Routes.back(), expected);
}

TEST(RouteAdd, TakesTheLongestPrefixThenTheLowestMetric) {
  MachineState machine = DhcpMachine();
  AddPhysicalAdapter(machine, "Second", 6, 3);
  Named(machine, "Second").ipv4.addresses = {{"192.0.2.77", 16}};
  Done(machine, kAdd);
  EXPECT_EQ(machine.ipv4Routes.back().luid, Named(machine, "Ethernet").luid);
  Named(machine, "Second").ipv4.addresses = {{"192.0.2.77", 24}};
  Named(machine, "Second").ipv4.metric = 10;
  Done(machine, "route ADD 203.0.113.8 MASK 255.255.255.255 192.0.2.1 METRIC 1");
  EXPECT_EQ(machine.ipv4Routes.back().luid, Named(machine, "Second").luid);
}

TEST(RouteAdd, TakesTheHostMaskAndTheMetricOneWhereNoneIsGiven) {
  MachineState machine = DhcpMachine();
  Done(machine, "route add 203.0.113.7 192.0.2.1");
  EXPECT_EQ(machine.ipv4Routes.back().prefixLength, 32u);
  EXPECT_EQ(machine.ipv4Routes.back().metric, 1u);
}

TEST(RouteAdd, IsLostAtARebootUnlessPersistent) {
  MachineState machine = DhcpMachine();
  const std::string before = Show(machine);
  Done(machine, kAdd);
  Done(machine, "route -p -4 add 198.51.100.0 mask 255.255.255.0 192.0.2.1 metric 9999");
  Reboot(machine);
  EXPECT_EQ(machine.ipv4Routes.back().destination, "198.51.100.0");
  machine.ipv4Routes.pop_back();
  EXPECT_EQ(Show(machine), before);
}

TEST(RouteAdd, TwiceIsRefusedWhateverTheMetric) {
  MachineState machine = DhcpMachine();
  Done(machine, kAdd);
  Refused(machine, kAdd, "The route addition failed: The object already exists.");
  Refused(machine, "route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 2", "The object already exists.");
  Done(machine, "route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.2 METRIC 1");
}

TEST(RouteAdd, RefusesBitsOutsideTheMask) {
  MachineState machine = DhcpMachine();
  Refused(machine, "route ADD 198.51.100.5 MASK 255.255.255.0 192.0.2.1 METRIC 1",
          "The specified mask parameter is invalid. (Destination & Mask) != Destination.");
  Refused(machine, "route ADD 10.0.0.0 MASK 0.0.0.0 192.0.2.1 METRIC 1", "(Destination & Mask) != Destination.");
  Refused(machine, "route ADD 10.0.0.0 MASK 255.0.255.0 192.0.2.1 METRIC 1", "The parameter is incorrect.");
}

TEST(RouteAdd, RefusesAGatewayThatNoAdapterReaches) {
  MachineState machine = DhcpMachine();
  Refused(machine, "route ADD 203.0.113.7 MASK 255.255.255.255 10.0.85.1 METRIC 1", kNoWay);
  Refused(machine, "route ADD 203.0.113.7 MASK 255.255.255.255 127.0.0.2 METRIC 1", kNoWay);
  Refused(machine, "route ADD 203.0.113.7 MASK 255.255.255.255 0.0.0.0 METRIC 1", kNoWay);
  Refused(machine, "route ADD 203.0.113.7 192.0.2.1 IF " + IndexOf(machine, "Wi-Fi"), kNoWay);
  Refused(machine, "route ADD 203.0.113.7 192.0.2.1 IF 4000", kNoWay);
  Named(machine, "Ethernet").up = false;
  Refused(machine, kAdd, kNoWay);
}

TEST(RouteAdd, ThroughTheOwnAddressOrNoneIsOnTheLink) {
  MachineState machine = DhcpMachine();
  Done(machine, "route ADD 198.51.100.0 MASK 255.255.255.0 192.0.2.10");
  EXPECT_EQ(machine.ipv4Routes.back().nextHop, "0.0.0.0");
  Done(machine, "route ADD 203.0.113.0 MASK 255.255.255.0 0.0.0.0 IF " + IndexOf(machine, "Ethernet"));
  EXPECT_EQ(machine.ipv4Routes.back().nextHop, "0.0.0.0");
}

TEST(RouteDelete, RemovesEveryRouteToTheDestination) {
  MachineState machine = MixedMachine();
  const std::string before = Show(machine);
  Done(machine, kAdd);
  Done(machine, "route ADD 203.0.113.7 MASK 255.255.255.255 192.0.3.1 METRIC 1");
  Done(machine, "route DELETE 203.0.113.7");
  EXPECT_EQ(Show(machine), before);
}

TEST(RouteDelete, RemovesOnLinkRoutesToo) {
  MachineState machine = DhcpMachine();
  Done(machine, "route DELETE 192.0.2.0");
  EXPECT_EQ(Show(machine).find("192.0.2.0/24"), std::string::npos);
}

TEST(RouteDelete, WithoutAMaskMeansEveryMask) {
  MachineState machine = DhcpMachine();
  Done(machine, "route ADD 198.51.100.0 MASK 255.255.255.0 192.0.2.1");
  Done(machine, "route ADD 198.51.100.0 MASK 255.255.255.128 192.0.2.1");
  Done(machine, "route DELETE 198.51.100.0");
  Refused(machine, "route DELETE 198.51.100.0", kNotFound);
}

TEST(RouteDelete, IsNarrowedByMaskGatewayAndInterface) {
  MachineState machine = WithTunnel(DhcpMachine());
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", Named(machine, "Moorlak").luid, 1, true});
  const std::string before = Show(machine);
  Refused(machine, "route DELETE 0.0.0.0 MASK 255.0.0.0 10.0.85.1", kNotFound);
  Refused(machine, "route DELETE 0.0.0.0 MASK 0.0.0.0 10.0.85.9", kNotFound);
  Refused(machine, "route DELETE 0.0.0.0 10.0.85.1 IF " + IndexOf(machine, "Ethernet"), kNotFound);
  EXPECT_EQ(Show(machine), before);
  Done(machine, "route DELETE 0.0.0.0 MASK 0.0.0.0 10.0.85.1");
  EXPECT_EQ(Show(machine).find("10.0.85.1"), std::string::npos);
  EXPECT_NE(Show(machine).find("0.0.0.0/0 via 192.0.2.1"), std::string::npos);
}

TEST(RouteDelete, RemovesWhatIsOnlyStored) {
  MachineState machine = DhcpMachine();
  machine.dormantIpv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", machine.adapters[1].luid, 1, true});
  Done(machine, "route DELETE 203.0.113.7");
  EXPECT_EQ(Show(machine), Show(DhcpMachine()));
}

TEST(RouteAdd, AStoredRouteTakesThePlaceOfWhatWasOnlyStored) {
  MachineState machine = DhcpMachine();
  machine.dormantIpv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", machine.adapters[1].luid, 9, true});
  Done(machine, "route -p ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1");
  EXPECT_TRUE(machine.dormantIpv4Routes.empty());
  EXPECT_EQ(machine.ipv4Routes.back().metric, 1U);
}

TEST(RouteAdd, AVolatileRouteLeavesWhatIsOnlyStoredAlone) {
  MachineState machine = DhcpMachine();
  machine.dormantIpv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", machine.adapters[1].luid, 9, true});
  Done(machine, "route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1");
  EXPECT_EQ(machine.dormantIpv4Routes.size(), 1U);
  Reboot(machine);
  EXPECT_EQ(machine.ipv4Routes.back().metric, 9U);
}

TEST(RouteDelete, LeavesTheStoredCopyWhereTheMachineIsSetSo) {
  MachineState machine = DhcpMachine();
  machine.routeKeepsStored = true;
  Done(machine, "route -p ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1");
  Done(machine, "route DELETE 203.0.113.7");
  EXPECT_EQ(machine.dormantIpv4Routes.size(), 1U);
  Refused(machine, "route DELETE 203.0.113.7", kNotFound);
  EXPECT_EQ(machine.dormantIpv4Routes.size(), 1U);
}

TEST(RouteDelete, OfNothingIsRefused) {
  MachineState machine = DhcpMachine();
  Refused(machine, "route DELETE 203.0.113.7", kNotFound);
}

TEST(Route, ExitsZeroOnFailureWhereTheMachineIsSetSo) {
  MachineState machine = DhcpMachine();
  machine.routeExitsZero = true;
  const std::string before = Show(machine);
  for (const char* line :
       {"route DELETE 203.0.113.7", "route ADD 203.0.113.7 MASK 255.255.255.255 10.0.85.1 METRIC 1"}) {
    const Outcome outcome = RunLine(RunRoute, machine, line);
    EXPECT_EQ(outcome.exitCode, 0u);
    EXPECT_NE(outcome.output.find("failed:"), std::string::npos);
  }
  EXPECT_EQ(Show(machine), before);
  ExpectUnknown(RunRoute, machine, "route DELETE");
}

TEST(Route, WhatItDoesNotKnowIsUnknown) {
  MachineState machine = DhcpMachine();
  for (const char* line : {"route",
                           "route PRINT",
                           "route CHANGE 203.0.113.7 192.0.2.1",
                           "route ADD",
                           "route ADD 203.0.113.7",
                           "route -x ADD 203.0.113.7 192.0.2.1",
                           "route -6 ADD 203.0.113.7 192.0.2.1",
                           "route DELETE 203.0.113.*",
                           "route DELETE 999.1.1.1",
                           "route ADD 999.1.1.1 MASK 255.255.255.255 192.0.2.1 METRIC 1",
                           "route ADD 203.0.113.7 MASK 255.255.255.999 192.0.2.1",
                           "route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2",
                           "route ADD 203.0.113.7 MASK",
                           "route ADD 203.0.113.7 192.0.2.1 METRIC",
                           "route ADD 203.0.113.7 192.0.2.1 METRIC 0",
                           "route ADD 203.0.113.7 192.0.2.1 METRIC x",
                           "route ADD 203.0.113.7 192.0.2.1 METRIC 1 METRIC 1",
                           "route ADD 203.0.113.7 192.0.2.1 192.0.2.2",
                           "route ADD 203.0.113.7 192.0.2.1 IF x",
                           "route ADD 203.0.113.7 192.0.2.1 more",
                           "route -p DELETE 203.0.113.7"})
    ExpectUnknown(RunRoute, machine, line);
}

}  // namespace
}  // namespace moorlak::lab
