#include <windows.h>

#include "net/adapter/interface_entry.h"
#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

class InterfaceMetricOf : public OnSimulatedMachine {
 protected:
  static uint32_t Index() { return lab::ReadMachine().adapters[1].ipv4.ifIndex; }
};

TEST_F(InterfaceMetricOf, AnAdapterIsReadAutomaticOrSet) {
  Start(lab::DhcpMachine());
  const auto automatic = ReadInterfaceMetric(Index());
  ASSERT_TRUE(automatic);
  EXPECT_TRUE(automatic->automatic);
  EXPECT_EQ(automatic->metric, 25u);
  Start(lab::ThreeStaticServersMachine());
  const auto set = ReadInterfaceMetric(Index());
  ASSERT_TRUE(set);
  EXPECT_FALSE(set->automatic);
  EXPECT_EQ(set->metric, 15u);
}

TEST_F(InterfaceMetricOf, AnAdapterIsSetAndPutBack) {
  for (const auto make : {lab::DhcpMachine, lab::ThreeStaticServersMachine}) {
    Start(make());
    const auto earlier = ReadInterfaceMetric(Index());
    ASSERT_TRUE(earlier);
    EXPECT_TRUE(WriteInterfaceMetric(Index(), {9000, false}));
    const auto changed = ReadInterfaceMetric(Index());
    ASSERT_TRUE(changed);
    EXPECT_EQ(changed->metric, 9000u);
    EXPECT_FALSE(changed->automatic);
    EXPECT_NE(Now(), Before());
    EXPECT_TRUE(WriteInterfaceMetric(Index(), *earlier));
    EXPECT_EQ(Now(), Before());
  }
}

TEST_F(InterfaceMetricOf, AnAdapterIsTheEarlierOneAfterAReboot) {
  Start(lab::ThreeStaticServersMachine());
  EXPECT_TRUE(WriteInterfaceMetric(Index(), {1, false}));
  lab::EditMachine(lab::Reboot);
  EXPECT_EQ(Now(), Before());
}

TEST_F(InterfaceMetricOf, AnIpv6OnlyAdapterIsNeitherReadNorWritten) {
  Start(lab::Ipv6OnlyMachine());
  EXPECT_FALSE(ReadInterfaceMetric(Index()));
  EXPECT_FALSE(WriteInterfaceMetric(Index(), {1, false}));
  EXPECT_FALSE(ReadInterfaceMetric(lab::ReadMachine().adapters[1].ipv6.ifIndex));
  EXPECT_EQ(Now(), Before());
}

TEST_F(InterfaceMetricOf, AFailingCallChangesNothing) {
  for (const char* call : {"GetIpInterfaceEntry", "SetIpInterfaceEntry"}) {
    Start(lab::DhcpMachine());
    PlanFault("fail", call, "", 1, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(WriteInterfaceMetric(Index(), {1, false})) << call;
    EXPECT_EQ(Now(), Before());
  }
}

}  // namespace
}  // namespace moorlak
