#include "net/routing/route_journal.h"

#include <windows.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "base/data_files.h"
#include "net/routing/bypass_routes.h"
#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

bool BackupExists() {
  return GetFileAttributesW(CommonDataFile(L"routes_restore.v1").c_str()) != INVALID_FILE_ATTRIBUTES;
}

void Replace(const GatewayRoute& route) {
  ClearWayFor(route);
  AddGatewayRoute(route);
}

struct RouteJournalOn : OnSimulatedMachine {
  ~RouteJournalOn() override { RestoreJournaledRoutes(); }
};

TEST_F(RouteJournalOn, WhatWasAddedGoesAndTheFileWithIt) {
  Start(TunnelMachine());
  Replace({"203.0.113.7", "255.255.255.255", "192.0.2.1"});
  EXPECT_NE(Now(), Before());
  EXPECT_TRUE(BackupExists());
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
  EXPECT_FALSE(BackupExists());
}

TEST_F(RouteJournalOn, TheUsersRouteToTheSamePlaceComesBackWithItsMetric) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.77", machine.adapters[1].luid, 4, false});
  Start(machine);
  Replace({"203.0.113.7", "255.255.255.255", "192.0.2.1"});
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

TEST_F(RouteJournalOn, TheSameRouteOfTheUsersStays) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", machine.adapters[1].luid, 1, false});
  Start(machine);
  Replace({"203.0.113.7", "255.255.255.255", "192.0.2.1"});
  Replace({"203.0.113.7", "255.255.255.255", "192.0.2.1"});
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

TEST_F(RouteJournalOn, TheDefaultRouteComesBackThatASubnetOfEverythingTookAway) {
  Start(lab::DhcpMachine());
  Replace({"0.0.0.0", "0.0.0.0", "192.0.2.1"});
  RestoreJournaledRoutes();
  const auto isDefault = [](const lab::Route& route) { return route.prefixLength == 0; };
  EXPECT_EQ(std::ranges::count_if(lab::ReadMachine().ipv4Routes, isDefault),
            std::ranges::count_if(lab::DhcpMachine().ipv4Routes, isDefault));
}

TEST_F(RouteJournalOn, ARecoveryReadsTheFile) {
  Start(TunnelMachine());
  Replace({"203.0.113.7", "255.255.255.255", "192.0.2.1"});
  RecoverJournaledRoutes();
  EXPECT_EQ(Now(), Before());
  EXPECT_FALSE(BackupExists());
  EXPECT_EQ(LogMessages(), "routes: recovering routes from disk backup\n");
}

TEST_F(RouteJournalOn, ARemovalThatFailsIsKeptForTheNextTime) {
  Start(TunnelMachine());
  Replace({"203.0.113.7", "255.255.255.255", "192.0.2.1"});
  PlanFault("fail", "DeleteIpForwardEntry2", "", 0, ERROR_ACCESS_DENIED);
  RestoreJournaledRoutes();
  EXPECT_TRUE(BackupExists());
  EXPECT_NE(Now(), Before());
  lab::EditMachine([](lab::MachineState& machine) { machine.faults.clear(); });
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
  EXPECT_FALSE(BackupExists());
}

TEST_F(RouteJournalOn, ACallThatFailsOnceCostsNothing) {
  for (const char* call : {"DeleteIpForwardEntry2", "GetIpForwardTable2"}) {
    Start(TunnelMachine());
    Replace({"203.0.113.7", "255.255.255.255", "192.0.2.1"});
    PlanFault("fail", call, "", 1, ERROR_ACCESS_DENIED);
    RestoreJournaledRoutes();
    EXPECT_EQ(Now(), Before()) << call;
    EXPECT_FALSE(BackupExists()) << call;
  }
}

TEST_F(RouteJournalOn, WithoutTheTableNoRouteIsRemoved) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.77", machine.adapters[1].luid, 4, false});
  Start(machine);
  PlanFault("fail", "GetIpForwardTable2", "", 0, ERROR_NOT_ENOUGH_MEMORY);
  ClearWayFor({"203.0.113.7", "255.255.255.255", "192.0.2.1"});
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(LogMessages(), "routes: could not read the route table; routes to 203.0.113.7 stay\n");
  lab::EditMachine([](lab::MachineState& now) { now.faults.clear(); });
}

TEST_F(RouteJournalOn, WithoutAJournalNothingIsTouched) {
  Start(TunnelMachine());
  RestoreJournaledRoutes();
  RecoverJournaledRoutes();
  EXPECT_TRUE(CallsOf("DeleteIpForwardEntry2").empty());
  EXPECT_EQ(Now(), Before());
}

}  // namespace
}  // namespace moorlak
