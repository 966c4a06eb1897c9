#include <winsock2.h>
#include <windows.h>

#include <gtest/gtest.h>

#include "config/inbound_ports.h"
#include "unit/config/held_port.h"
#include "unit/config/winsock_starts.h"

namespace moorlak {
namespace {

TEST(LoopbackPorts, APortThatAnotherSocketHoldsIsBusyAndFreeAfterwards) {
  uint16_t port = 0;
  {
    const HeldPort held;
    port = held.port;
    ASSERT_NE(port, 0);
    EXPECT_FALSE(IsLoopbackPortFree(port));
  }
  EXPECT_TRUE(IsLoopbackPortFree(port));
}

TEST(LoopbackPorts, ThePickedPortIsFreeAndHeldByNobody) {
  const uint16_t port = PickFreeLoopbackPort();
  ASSERT_NE(port, 0);
  EXPECT_TRUE(IsLoopbackPortFree(port));
  const HeldPort held(port);
  EXPECT_EQ(held.port, port);
}

TEST(LoopbackPorts, AProbeLeavesWinsockAsItWas) {
  const int before = WinsockStarts();
  ASSERT_NE(PickFreeLoopbackPort(), 0);
  IsLoopbackPortFree(1);
  EXPECT_EQ(WinsockStarts(), before);
}

}  // namespace
}  // namespace moorlak
