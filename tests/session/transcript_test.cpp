// What the tunnel log tells of a good session, and what the machine looks like while it is up.
#include <algorithm>

#include "session/support/tunnel_session.h"
#include "session/transcripts.h"

namespace moorlak::session {
namespace {

class Transcript : public TunnelSession {
 protected:
  // From the start command on. How often the pipe was asked, and by whom, is the test's own.
  std::string Log() const {
    std::vector<std::string> lines = LogLines();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("IPC server command"); });
    const auto isStart = [](const std::string& line) { return line.starts_with("IPC start ("); };
    std::string text;
    for (auto line = std::ranges::find_if(lines, isStart); line != lines.end(); ++line) text += "\n" + *line;
    return text + "\n";
  }
  size_t CountOf(const std::string& line) const {
    const std::vector<std::string> lines = LogLines();
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
  }
};

TEST_F(Transcript, OfASessionThroughTun2Socks) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  EXPECT_EQ("\n" + DumpWhole(), kProtectedMachine);
  EXPECT_EQ(Stop(), "OK");
  EXPECT_EQ(Log(), kTun2SocksTranscript);
  ExpectRestored();
}

TEST_F(Transcript, OfASessionOnTheEnginesOwnTunnel) {
  ASSERT_EQ(Start(NativeConfig()), "OK");
  ASSERT_TRUE(WaitForReady(kNativeReadyLine)) << testing::PrintToString(LogLines());
  EXPECT_EQ("\n" + DumpWhole(), kProtectedNativeMachine);
  EXPECT_EQ(Stop(), "OK");
  EXPECT_EQ(Log(), kNativeTranscript);
  ExpectRestored();
}

// Once for the controller, once for the engine's own start.
TEST_F(Transcript, OfAStartThatReplacesASessionHasTwoStops) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  ASSERT_EQ(Start(Config()), "OK");
  EXPECT_EQ(CountOf("Stop completed in N ms"), 2u);
  EXPECT_TRUE(WaitForLogLine("dns-leak: Moorlak OS DNS set to 9.9.9.9 / 149.112.112.112"));
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
