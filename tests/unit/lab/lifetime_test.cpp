#include "machine/lifetime.h"

#include <gtest/gtest.h>

#include "lab/full_machine.h"
#include "machine/fixtures.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

bool IsServiceDead(uint32_t process) {
  return process != kServiceProcess;
}
bool IsOtherDead(uint32_t process) {
  return process != kOtherProcess;
}
bool AllAlive(uint32_t /*process*/) {
  return true;
}

TEST(Lifetime, NothingChangesWhileAllProcessesLive) {
  MachineState machine = FullMachine();
  DropDeadProcesses(machine, AllAlive);
  EXPECT_EQ(machine, FullMachine());
}

TEST(Lifetime, ReportsTheSessionsOfDeadProcesses) {
  EXPECT_EQ(DeadWfpSessions(FullMachine(), IsServiceDead), std::vector<uint64_t>{7});
  EXPECT_EQ(DeadWfpSessions(FullMachine(), IsOtherDead), std::vector<uint64_t>{9});
  EXPECT_TRUE(DeadWfpSessions(FullMachine(), AllAlive).empty());
}

TEST(Lifetime, DynamicObjectsGoWithTheirProcessAndOthersStay) {
  MachineState machine = FullMachine();
  DropDeadProcesses(machine, IsServiceDead);
  EXPECT_TRUE(machine.wfp.providers.empty());
  EXPECT_TRUE(machine.wfp.sublayers.empty());
  ASSERT_EQ(machine.wfp.filters.size(), 1U);
  EXPECT_EQ(machine.wfp.filters[0].session, 0U);
  ASSERT_EQ(machine.wfp.sessions.size(), 1U);
  EXPECT_EQ(machine.wfp.sessions[0].handle, 9U);
}

TEST(Lifetime, AStandardSessionLeavesItsObjectsBehind) {
  MachineState machine = FullMachine();
  DropDeadProcesses(machine, IsOtherDead);
  EXPECT_EQ(machine.wfp.filters, FullMachine().wfp.filters);
  EXPECT_EQ(machine.wfp.sessions.size(), 1U);
}

TEST(Lifetime, ADeadCreatorLeavesADeviceThatIsNotPresentAndNoAdapter) {
  MachineState machine = FullMachine();
  DropDeadProcesses(machine, IsServiceDead);
  EXPECT_EQ(machine.adapters, DhcpMachine().adapters);
  EXPECT_EQ(machine.ipv4Routes, DhcpMachine().ipv4Routes);
  EXPECT_FALSE(machine.devices.back().present);
  EXPECT_EQ(machine.devices.back().ownerProcess, 0U);
  EXPECT_EQ(machine.devices.size(), FullMachine().devices.size());
}

TEST(Lifetime, ADeadCreatorsAdapterLingersDown) {
  MachineState machine = FullMachine();
  machine.adapterHabits.lingerMs = 1500;
  DropDeadProcesses(machine, IsServiceDead);
  ASSERT_EQ(machine.adapters.size(), FullMachine().adapters.size());
  EXPECT_FALSE(machine.adapters.back().up);
  EXPECT_TRUE(machine.devices.back().present);
  machine.record.clockMs += 1500;
  DropDeadProcesses(machine, AllAlive);
  EXPECT_EQ(machine.adapters, DhcpMachine().adapters);
  EXPECT_FALSE(machine.devices.back().present);
  EXPECT_EQ(machine.devices.back().connectionName, "Moorlak");
}

TEST(Lifetime, ADeadSessionLeavesItsAdapterDown) {
  MachineState machine = FullMachine();
  machine.devices.back().ownerProcess = 0;
  DropDeadProcesses(machine, IsServiceDead);
  EXPECT_FALSE(machine.adapters.back().up);
  EXPECT_EQ(machine.adapters.back().sessionProcess, 0U);
}

TEST(Lifetime, ADeadProcessWaitsNoLonger) {
  MachineState machine = FullMachine();
  DropDeadProcesses(machine, IsServiceDead);
  EXPECT_TRUE(machine.record.waiting.empty());
}

TEST(Lifetime, ARemovedAdapterTakesItsStoredRoutesAlong) {
  MachineState machine = FullMachine();
  RemoveAdapter(machine, kTunnelGuid);
  EXPECT_TRUE(machine.dormantIpv4Routes.empty() && machine.dormantIpv6Routes.empty());
  EXPECT_EQ(machine.ipv4Routes, DhcpMachine().ipv4Routes);
}

TEST(Lifetime, RemovingAnUnknownAdapterChangesNothing) {
  MachineState machine = FullMachine();
  RemoveAdapter(machine, "{NONE}");
  RemoveAdapter(machine, "");
  EXPECT_EQ(machine, FullMachine());
}

TEST(Reboot, BringsBackTheStoredSettingsUnderNewIndexes) {
  MachineState machine = DhcpMachine();
  Adapter& ethernet = machine.adapters[1];
  ethernet.ipv4.staticDns = {"127.0.0.1"};
  ethernet.ipv4.autoMetric = false;
  ethernet.ipv4.metric = 9000;
  ethernet.storedIpv4.staticDns = {"127.0.0.1"};
  const uint32_t index = ethernet.ipv4.ifIndex;
  Reboot(machine);
  EXPECT_EQ(machine.adapters[1].ipv4.staticDns, std::vector<std::string>{"127.0.0.1"});
  EXPECT_TRUE(machine.adapters[1].ipv4.autoMetric);
  EXPECT_EQ(machine.adapters[1].ipv4.metric, 25U);
  EXPECT_NE(machine.adapters[1].ipv4.ifIndex, index);
  EXPECT_EQ(machine.adapters[1].ipv4.ifIndex, machine.adapters[1].ipv6.ifIndex);
  EXPECT_NE(machine.adapters[1].ipv4.ifIndex, machine.adapters[2].ipv4.ifIndex);
}

TEST(Reboot, KeepsTheLoopbackIndexAndTheMissingIpv4Index) {
  MachineState machine = Ipv6OnlyMachine();
  Reboot(machine);
  EXPECT_EQ(machine.adapters[0].ipv4.ifIndex, 1U);
  EXPECT_EQ(machine.adapters[1].ipv4.ifIndex, 0U);
  EXPECT_NE(machine.adapters[1].ipv6.ifIndex, 0U);
}

TEST(Reboot, LooksTheSameOnEveryFixture) {
  for (const Fixture& fixture : Fixtures()) {
    MachineState machine = fixture.make();
    Reboot(machine);
    EXPECT_EQ(Show(machine), Show(fixture.make())) << fixture.name;
    EXPECT_NE(ToJson(machine), ToJson(fixture.make())) << fixture.name;
  }
}

TEST(Reboot, ForgetsTheTunnelItsRoutesAndAllFilters) {
  MachineState machine = FullMachine();
  Reboot(machine);
  EXPECT_EQ(machine.adapters.size(), DhcpMachine().adapters.size());
  EXPECT_EQ(machine.ipv4Routes, DhcpMachine().ipv4Routes);
  EXPECT_FALSE(machine.devices.back().present);
  EXPECT_TRUE(machine.wfp.filters.empty() && machine.wfp.providers.empty() && machine.wfp.sublayers.empty());
  EXPECT_TRUE(machine.wfp.sessions.empty());
  EXPECT_EQ(machine.wfp.generation, 4U);
  EXPECT_EQ(machine.firewallRules, FullMachine().firewallRules);
  EXPECT_EQ(machine.faults, FullMachine().faults);
  EXPECT_EQ(machine.record.calls, 40U);
}

TEST(Reboot, CarriesOutAPendingRemoval) {
  MachineState machine = FullMachine();
  machine.devices.back().removalPending = true;
  Reboot(machine);
  EXPECT_EQ(machine.devices, DhcpMachine().devices);
}

TEST(Reboot, PutsStoredRoutesInForceAgain) {
  MachineState machine = DhcpMachine();
  const MachineState before = machine;
  machine.dormantIpv4Routes = {machine.ipv4Routes.back()};
  machine.dormantIpv6Routes = {machine.ipv6Routes.back()};
  machine.ipv4Routes.pop_back();
  machine.ipv6Routes.pop_back();
  EXPECT_NE(Show(machine), Show(before));
  Reboot(machine);
  EXPECT_EQ(Show(machine), Show(before));
  EXPECT_TRUE(machine.dormantIpv4Routes.empty() && machine.dormantIpv6Routes.empty());
}

TEST(Reboot, DropsVolatileRoutesOnly) {
  MachineState machine = DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", machine.adapters[1].luid, 1, false});
  machine.ipv6Routes.push_back({"2001:db8:7::", 64, "fe80::1", machine.adapters[1].luid, 1, false});
  Reboot(machine);
  EXPECT_EQ(machine.ipv4Routes, DhcpMachine().ipv4Routes);
  EXPECT_EQ(machine.ipv6Routes, DhcpMachine().ipv6Routes);
}

}  // namespace
}  // namespace moorlak::lab
