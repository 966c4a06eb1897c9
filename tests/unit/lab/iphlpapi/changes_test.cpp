#include "iphlpapi/changes.h"

#include <gtest/gtest.h>

#include "machine/fixtures.h"

namespace moorlak::lab {
namespace {

TEST(Changes, AMachineThatStaysReportsNothing) {
  EXPECT_TRUE(ChangedInterfaces(MixedMachine(), MixedMachine()).empty());
  EXPECT_TRUE(ChangedAddresses(MixedMachine(), MixedMachine()).empty());
}

TEST(Changes, AnAdapterThatComesIsReportedForEachFamilyWithItsAddresses) {
  const MachineState before = DhcpMachine();
  MachineState now = before;
  const Adapter dock = AddPhysicalAdapter(now, "Dock", 6, 9);
  const std::vector<InterfaceChanged> added{{dock.luid, dock.ipv4.ifIndex, false, ChangeKind::Added},
                                            {dock.luid, dock.ipv6.ifIndex, true, ChangeKind::Added}};
  EXPECT_EQ(ChangedInterfaces(before, now), added);
  EXPECT_EQ(ChangedAddresses(before, now).size(), dock.ipv4.addresses.size() + dock.ipv6.addresses.size());
  EXPECT_EQ(ChangedInterfaces(now, before)[0].kind, ChangeKind::Removed);
  EXPECT_EQ(ChangedAddresses(now, before)[0].kind, ChangeKind::Removed);
}

TEST(Changes, MetricAndStateAreParametersNameServersAreNot) {
  const MachineState before = DhcpMachine();
  MachineState now = before;
  now.adapters[1].ipv4.staticDns = {"127.0.0.1"};
  EXPECT_TRUE(ChangedInterfaces(before, now).empty());
  now.adapters[1].ipv4.autoMetric = false;
  now.adapters[1].ipv4.metric = 5000;
  ASSERT_EQ(ChangedInterfaces(before, now).size(), 1U);
  EXPECT_EQ(ChangedInterfaces(before, now)[0].kind, ChangeKind::Parameter);
  now.adapters[1].up = false;
  EXPECT_EQ(ChangedInterfaces(before, now).size(), 2U);
}

TEST(Changes, AnAddressThatMovesIsRemovedAndAdded) {
  const MachineState before = DhcpMachine();
  MachineState now = before;
  now.adapters[1].ipv4.addresses = {{"192.0.2.77", 24}};
  const std::vector<AddressChanged> changes = ChangedAddresses(before, now);
  ASSERT_EQ(changes.size(), 2U);
  EXPECT_EQ(changes[0].kind, ChangeKind::Removed);
  EXPECT_EQ(changes[1].address, "192.0.2.77");
}

}  // namespace
}  // namespace moorlak::lab
