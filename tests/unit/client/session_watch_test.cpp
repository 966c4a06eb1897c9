#include "client/session_watch.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

constexpr StatusReply kStopped{false, false, 0, 0};
constexpr StatusReply kRunningOnly{true, false, 0, 0};
constexpr StatusReply kUp{true, true, 0, 0};

TEST(SessionWatch, AVpnSessionConnectsUntilTheTunnelIsUp) {
  SessionWatch watch;
  EXPECT_EQ(ObserveStatus(watch, kRunningOnly), SessionEvent::Nothing);
  EXPECT_EQ(ObserveStatus(watch, kRunningOnly), SessionEvent::Nothing);
  EXPECT_EQ(watch.phase, SessionPhase::Connecting);
  EXPECT_EQ(ObserveStatus(watch, kUp), SessionEvent::CameUp);
  EXPECT_EQ(ObserveStatus(watch, kUp), SessionEvent::Nothing);
  EXPECT_EQ(watch.phase, SessionPhase::Up);
}

TEST(SessionWatch, AVpnSessionEndsWhenRunningIsCleared) {
  SessionWatch connecting;
  EXPECT_EQ(ObserveStatus(connecting, kStopped), SessionEvent::Ended);
  SessionWatch up{false, SessionPhase::Up};
  EXPECT_EQ(ObserveStatus(up, kRunningOnly), SessionEvent::Nothing);
  EXPECT_EQ(ObserveStatus(up, kStopped), SessionEvent::Ended);
}

TEST(SessionWatch, AProxySessionEndsWhenTheEngineDiesWhileRunningStaysSet) {
  SessionWatch up{true, SessionPhase::Up};
  EXPECT_EQ(ObserveStatus(up, kUp), SessionEvent::Nothing);
  EXPECT_EQ(ObserveStatus(up, kRunningOnly), SessionEvent::Ended);
}

TEST(SessionWatch, AProxySessionWhoseEngineNeverRanHasEnded) {
  SessionWatch watch{true};
  EXPECT_EQ(ObserveStatus(watch, kRunningOnly), SessionEvent::Ended);
}

TEST(SessionWatch, AProxySessionComesUp) {
  SessionWatch watch{true};
  EXPECT_EQ(ObserveStatus(watch, kUp), SessionEvent::CameUp);
}

TEST(SessionWatch, TheEndIsToldOnce) {
  SessionWatch watch;
  EXPECT_EQ(ObserveStatus(watch, kStopped), SessionEvent::Ended);
  EXPECT_EQ(ObserveStatus(watch, kStopped), SessionEvent::Nothing);
  EXPECT_EQ(ObserveStatus(watch, kUp), SessionEvent::Nothing);
}

}  // namespace
}  // namespace moorlak
