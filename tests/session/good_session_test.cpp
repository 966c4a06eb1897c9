// A session from the start command to the stop, on both paths.
#include "machine/support/wait.h"
#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr int64_t kOneMiB = 1 << 20;

using GoodSession = TunnelSession;

TEST_F(GoodSession, ConnectsAndMovesTheMachinesTrafficAndPutsEverythingBack) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  const auto transfer = FetchAsUser("/bytes/1048576");
  ASSERT_TRUE(transfer);
  EXPECT_EQ(transfer->bytes, kOneMiB);
  EXPECT_TRUE(machine::WaitUntil([] { return Status().downBytes >= kOneMiB; }));
  EXPECT_EQ(Stop(), "OK");
  EXPECT_FALSE(Status().running);
  ExpectRestored();
}

TEST_F(GoodSession, ConnectsOnTheEnginesOwnTunnelAndPutsEverythingBack) {
  ASSERT_EQ(Start(NativeConfig()), "OK");
  ASSERT_TRUE(WaitForReady(kNativeReadyLine)) << testing::PrintToString(LogLines());
  const auto transfer = FetchAsUser("/bytes/1048576");
  ASSERT_TRUE(transfer);
  EXPECT_EQ(transfer->bytes, kOneMiB);
  EXPECT_TRUE(machine::WaitUntil([] { return Status().downBytes >= kOneMiB; }));
  EXPECT_EQ(Stop(), "OK");
  EXPECT_FALSE(Status().running);
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
