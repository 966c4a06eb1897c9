#include "net/routing/route_journal.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "base/durable_file.h"
#include "machine/restart_system.h"
#include "net/routing/bypass_routes.h"
#include "network/support/simulated_machine.h"
#include "unit/base/data_file_path.h"

namespace moorlak {
namespace {

constexpr uint32_t kPatienceMs = 60000;

bool BackupExists() {
  return GetFileAttributesW(RecoveryPath(L"routes_restore.v1").c_str()) != INVALID_FILE_ATTRIBUTES;
}

void Replace(const GatewayRoute& route) {
  ClearWayFor(route);
  AddGatewayRoute(route);
}

void ClearFaults() {
  lab::EditMachine([](lab::MachineState& machine) { machine.faults.clear(); });
}

bool HasRouteTo(const std::string& destination) {
  const std::vector<lab::Route> routes = lab::ReadMachine().ipv4Routes;
  return std::ranges::find(routes, destination, &lab::Route::destination) != routes.end();
}

// The entry that `route -p ADD` stores with the route, for as long as this lives.
class StoredRoute {
 public:
  explicit StoredRoute(const wchar_t* text) : name(text) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, name, REG_SZ, L"", sizeof(wchar_t));
  }
  ~StoredRoute() { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, name); }
  StoredRoute(const StoredRoute&) = delete;
  StoredRoute& operator=(const StoredRoute&) = delete;

 private:
  static constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters\\PersistentRoutes";
  const wchar_t* name;
};

struct RouteJournalOn : OnSimulatedMachine {
  ~RouteJournalOn() override { RestoreJournaledRoutes(); }
};

TEST_F(RouteJournalOn, WhatWasAddedGoesAndTheFileWithIt) {
  Start(TunnelMachine());
  Replace({"203.0.113.7", 32, "192.0.2.1"});
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
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

TEST_F(RouteJournalOn, TheSameRouteOfTheUsersStays) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", machine.adapters[1].luid, 1, false});
  Start(machine);
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

TEST_F(RouteJournalOn, TheDefaultRouteComesBackThatASubnetOfEverythingTookAway) {
  Start(lab::DhcpMachine());
  Replace({"0.0.0.0", 0, "192.0.2.1"});
  RestoreJournaledRoutes();
  const auto isDefault = [](const lab::Route& route) { return route.prefixLength == 0; };
  EXPECT_EQ(std::ranges::count_if(lab::ReadMachine().ipv4Routes, isDefault),
            std::ranges::count_if(lab::DhcpMachine().ipv4Routes, isDefault));
}

TEST_F(RouteJournalOn, ARecoveryReadsTheFile) {
  Start(TunnelMachine());
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  RecoverJournaledRoutes();
  EXPECT_EQ(Now(), Before());
  EXPECT_FALSE(BackupExists());
  EXPECT_EQ(LogMessages(), "routes: recovering routes from disk backup\n");
}

TEST_F(RouteJournalOn, ARemovalThatFailsIsKeptForTheNextTime) {
  Start(TunnelMachine());
  Replace({"203.0.113.7", 32, "192.0.2.1"});
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
    Replace({"203.0.113.7", 32, "192.0.2.1"});
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
  ClearWayFor({"203.0.113.7", 32, "192.0.2.1"});
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(LogMessages(), "routes: could not read the route table; routes to 203.0.113.7 stay\n");
  lab::EditMachine([](lab::MachineState& now) { now.faults.clear(); });
}

// A route that may have existed before must not be treated as ours: the command rejects a route that already exists.
TEST_F(RouteJournalOn, WithoutTheTableARouteThatWasNotAddedStaysTheUsers) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", machine.adapters[1].luid, 1, false});
  Start(machine);
  PlanFault("fail", "GetIpForwardTable2", "", 0, ERROR_NOT_ENOUGH_MEMORY);
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  ClearFaults();
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

TEST_F(RouteJournalOn, WithoutTheTableARouteThatWasAddedIsOurs) {
  Start(lab::DhcpMachine());
  PlanFault("fail", "GetIpForwardTable2", "", 0, ERROR_NOT_ENOUGH_MEMORY);
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  ClearFaults();
  EXPECT_NE(Now(), Before());
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

// A second network on the Ethernet adapter. One of the session's subnets replaces its route.
struct TakenOnLinkRoute : RouteJournalOn {
  static lab::MachineState Machine() {
    lab::MachineState machine = lab::DhcpMachine();
    machine.adapters[1].ipv4.addresses.push_back({"198.51.100.9", 24});
    machine.ipv4Routes.push_back({"198.51.100.0", 24, "0.0.0.0", machine.adapters[1].luid, 256, false});
    return machine;
  }
};

TEST_F(TakenOnLinkRoute, ComesBackWhereTheAdapterHasAnAddressInIt) {
  Start(Machine());
  Replace({"198.51.100.0", 24, "192.0.2.1"});
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

TEST_F(TakenOnLinkRoute, IsDroppedWhereNoAddressIsLeftInIt) {
  Start(Machine());
  Replace({"198.51.100.0", 24, "192.0.2.1"});
  lab::EditMachine([](lab::MachineState& machine) { machine.adapters[1].ipv4.addresses.pop_back(); });
  RestoreJournaledRoutes();
  EXPECT_FALSE(HasRouteTo("198.51.100.0"));
  EXPECT_EQ(LogMessages(), "routes: dropped a route that cannot come back: 198.51.100.0/24 on the link\n");
  EXPECT_FALSE(BackupExists());
}

TEST_F(TakenOnLinkRoute, BringsBackTheRouteAfterIt) {
  lab::MachineState machine = Machine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "198.51.100.1", machine.adapters[1].luid, 4, false});
  Start(machine);
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  Replace({"198.51.100.0", 24, "192.0.2.1"});
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

// If restoring fails at first, the route that depends on this one must still be restored.
TEST_F(TakenOnLinkRoute, BringsBackTheRouteAfterItAtTheSecondTry) {
  lab::MachineState machine = Machine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "198.51.100.1", machine.adapters[1].luid, 4, false});
  Start(machine);
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  Replace({"198.51.100.0", 24, "192.0.2.1"});
  PlanFault("fail", "CreateIpForwardEntry2", "", 1, ERROR_ACCESS_DENIED);
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

// The laptop moved to another network during the session.
TEST_F(RouteJournalOn, ARouteWhoseHopIsNoNeighbourAnyMoreIsDropped) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.77", machine.adapters[1].luid, 4, false});
  Start(machine);
  Replace({"203.0.113.7", 32, "192.0.2.1"});
  lab::EditMachine([](lab::MachineState& now) {
    now.adapters[1].ipv4.addresses = {{"10.20.0.5", 24}};
    std::erase_if(now.ipv4Routes, [&](const lab::Route& route) { return route.luid == now.adapters[1].luid; });
    now.ipv4Routes.push_back({"10.20.0.0", 24, "0.0.0.0", now.adapters[1].luid, 256, false});
  });
  RestoreJournaledRoutes();
  EXPECT_FALSE(HasRouteTo("203.0.113.7"));
  EXPECT_EQ(LogMessages(), "routes: dropped a route that cannot come back: 203.0.113.7/32 via 192.0.2.77\n");
  EXPECT_FALSE(BackupExists());
}

// After a restart of the system: routes that the machine itself did not keep would be missing without the session, too.
struct RestartedSystem : RouteJournalOn {
  void ReplaceAndRestart() {
    Replace({"203.0.113.7", 32, "192.0.2.1"});
    lab::RestartSystem();
  }
};

TEST_F(RestartedSystem, ForgetsAVolatileRoute) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.77", machine.adapters[1].luid, 4, false});
  Start(machine);
  ReplaceAndRestart();
  RecoverJournaledRoutes();
  EXPECT_FALSE(HasRouteTo("203.0.113.7"));
  EXPECT_FALSE(BackupExists());
  EXPECT_EQ(LogMessages(),
            "routes: recovering routes from disk backup\n"
            "routes: the system was restarted, 1 taken route(s) not put back\n");
}

// The route is the user's own, although the session added an equal one.
TEST_F(RestartedSystem, KeepsARouteThatCameBackByItself) {
  Start(lab::DhcpMachine());
  ReplaceAndRestart();
  lab::EditMachine([](lab::MachineState& now) {
    now.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", now.adapters[1].luid, 4, true});
  });
  const std::string restarted = Now();
  RecoverJournaledRoutes();
  EXPECT_EQ(Now(), restarted);
  EXPECT_FALSE(BackupExists());
}

// `route DELETE` also removes the stored copy made by `route -p ADD`.
TEST_F(RestartedSystem, GetsAStoredRouteBack) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.77", machine.adapters[1].luid, 4, true});
  Start(machine);
  const StoredRoute stored(L"203.0.113.7,255.255.255.255,192.0.2.77,4");
  ReplaceAndRestart();
  RecoverJournaledRoutes();
  EXPECT_TRUE(HasRouteTo("203.0.113.7"));
  EXPECT_FALSE(BackupExists());
}

// When the system has just started, the network may not be there yet.
TEST_F(RestartedSystem, GetsAStoredRouteBackWhenItsNetworkIsThere) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.77", machine.adapters[1].luid, 4, true});
  Start(machine);
  const StoredRoute stored(L"203.0.113.7,255.255.255.255,192.0.2.77,4");
  ReplaceAndRestart();
  const lab::MachineState restarted = lab::ReadMachine();
  lab::EditMachine([](lab::MachineState& now) {
    std::erase_if(now.ipv4Routes, [&](const lab::Route& route) { return route.luid == now.adapters[1].luid; });
  });
  RecoverJournaledRoutes();
  EXPECT_FALSE(HasRouteTo("203.0.113.7"));
  EXPECT_TRUE(BackupExists());
  lab::EditMachine([&](lab::MachineState& now) { now.ipv4Routes = restarted.ipv4Routes; });
  RestoreJournaledRoutes();
  EXPECT_TRUE(HasRouteTo("203.0.113.7"));
  EXPECT_FALSE(BackupExists());
}

// A file of an earlier version of the service does not identify the system's start, so it is applied as before.
TEST_F(RestartedSystem, IsNotKnownFromAFileWithoutAMark) {
  Start(lab::DhcpMachine());
  ASSERT_TRUE(WriteFileDurably(
      RecoveryPath(L"routes_restore.v1"),
      "v1\ntaken\n203.0.113.7\n32\n192.0.2.77\n" + std::to_string(lab::ReadMachine().adapters[1].luid) + "\n4\n"));
  RecoverJournaledRoutes();
  EXPECT_TRUE(HasRouteTo("203.0.113.7"));
  EXPECT_FALSE(BackupExists());
}

// One write for all of them, so that a long list does not cost a disk flush per entry.
TEST_F(RouteJournalOn, ABatchIsOnDiskBeforeItsFirstChange) {
  Start(lab::DhcpMachine());
  PlanFault("break", "route", "DELETE 172.16.0.0", 1, 0);
  const std::atomic<bool> running{true};
  std::thread session([&] {
    BypassRoutes routes;
    AddLanBypassRoutes({"172.16.0.0/12", "198.51.100.0/24", "not an address", "203.0.113.64/26"}, running, routes);
  });
  EXPECT_TRUE(lab::WaitForBreak(kPatienceMs));
  const std::string text = ReadWholeFile(RecoveryPath(L"routes_restore.v1"), 1u << 20).value_or("");
  EXPECT_EQ(ParseRouteJournal(text).added.size(), 3u) << text;
  lab::ReleaseBreak();
  session.join();
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
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
