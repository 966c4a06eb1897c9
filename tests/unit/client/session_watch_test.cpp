#include "client/session_watch.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "config/file_settings.h"

namespace moorlak::client {
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

TEST(SessionWatch, TheEndIsReportedOnce) {
  SessionWatch watch;
  EXPECT_EQ(ObserveStatus(watch, kStopped), SessionEvent::Ended);
  EXPECT_EQ(ObserveStatus(watch, kStopped), SessionEvent::Nothing);
  EXPECT_EQ(ObserveStatus(watch, kUp), SessionEvent::Nothing);
}

SessionEnder EnderAfter(const std::vector<std::string>& messages) {
  SessionWatch watch;
  for (const std::string& message : messages) ObserveLogLine(watch, "2026-01-31 09:05:07 " + message);
  return watch.ender;
}

TEST(SessionEnd, ASessionEndsByItselfUnlessTheLogSaysOtherwise) {
  EXPECT_EQ(EnderAfter({}), SessionEnder::Itself);
  EXPECT_EQ(EnderAfter({"IPC start (payload bytes=12)", "IPC start accepted", "Xray exited"}), SessionEnder::Itself);
}

TEST(SessionEnd, AStopAndARefusedStartAreOtherPrograms) {
  EXPECT_EQ(EnderAfter({"IPC start accepted", "IPC stop"}), SessionEnder::OtherProgram);
  EXPECT_EQ(EnderAfter({"IPC start accepted", "IPC start (payload bytes=3)", "IPC start failed: no"}),
            SessionEnder::OtherProgram);
}

TEST(SessionEnd, AStartThatIsRefusedBeforeItEndsASessionEndsNone) {
  const std::string refused = "IPC start failed: " + FileSettingText("listen");
  EXPECT_EQ(EnderAfter({"IPC start accepted", "IPC start (payload bytes=3)", refused}), SessionEnder::Itself);
  EXPECT_EQ(EnderAfter({"IPC start accepted", "IPC stop", "IPC start (payload bytes=3)", refused}),
            SessionEnder::OtherProgram);
  EXPECT_EQ(EnderAfter({"IPC start accepted", "IPC start (payload bytes=3)", refused, "IPC stop"}),
            SessionEnder::OtherProgram);
}

TEST(SessionEnd, WhatCameBeforeTheLastAcceptedStartEndedAnEarlierSession) {
  EXPECT_EQ(EnderAfter({"IPC stop", "IPC start (payload bytes=12)", "IPC start accepted"}), SessionEnder::Itself);
}

TEST(SessionEnd, AServiceThatStopsEndsItsSession) {
  EXPECT_EQ(EnderAfter({"IPC start accepted", "MoorlakTunnel: stopping tunnel"}), SessionEnder::Service);
  // The service logs this at every stop of its own, whatever ended the session before.
  EXPECT_EQ(EnderAfter({"IPC start accepted", "IPC stop", "MoorlakTunnel: stopping tunnel"}),
            SessionEnder::OtherProgram);
}

TEST(SessionEnd, OnlyWholeMessagesCount) {
  EXPECT_EQ(EnderAfter({"IPC stopped", "engine: IPC stop"}), SessionEnder::Itself);
  SessionWatch watch;
  for (const char* line : {"", "IPC stop", "2026-01-31 09:05:07"}) ObserveLogLine(watch, line);
  EXPECT_EQ(watch.ender, SessionEnder::Itself);
}

}  // namespace
}  // namespace moorlak::client
