// The tunnel log of a good session, and what the session changes of the machine while it is up.
#include <algorithm>
#include <regex>

#include "session/support/tunnel_session.h"
#include "session/transcripts.h"
#include "support/text_difference.h"

namespace moorlak::session {
namespace {

// The lab numbers the engine's adapter; the number depends on everything created before.
std::string WithoutGuid(const std::string& text) {
  static const std::regex made(R"(\{5C0FFEE1-[0-9A-F-]+\})");
  return std::regex_replace(text, made, "{made by the engine}");
}

class Transcript : public TunnelSession {
 protected:
  // From the start command on, without pipe commands: how often the pipe is asked depends on the test.
  std::string Log() const {
    std::vector<std::string> lines = LogLines();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("IPC server command"); });
    const auto isStart = [](const std::string& line) { return line.starts_with("IPC start ("); };
    std::string text;
    for (auto line = std::ranges::find_if(lines, isStart); line != lines.end(); ++line) text += "\n" + *line;
    return WithoutGuid(text) + "\n";
  }
  struct Record {
    std::string log;
    // While the session is up; the filters, which are the same on both paths, apart.
    std::string changes;
    std::string filters;
  };
  Record RecordSession(const std::string& config, const char* readyLine) {
    Record record;
    const std::string machine = WithoutGuid(DumpWhole());
    EXPECT_EQ(Start(config), "OK");
    EXPECT_TRUE(WaitForReady(readyLine)) << testing::PrintToString(LogLines());
    std::string changes = Difference(machine, WithoutGuid(DumpWhole()));
    record.filters = "\n" + TakeSection(changes, "filtering platform");
    record.changes = "\n" + changes;
    EXPECT_EQ(Stop(), "OK");
    record.log = Log();
    ExpectRestored();
    return record;
  }
  size_t CountOf(const std::string& line) const {
    const std::vector<std::string> lines = LogLines();
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
  }
};

TEST_F(Transcript, OfASessionThroughTun2Socks) {
  const Record record = RecordSession(Config(), kReadyLine);
  EXPECT_EQ(record.changes, kTun2SocksChanges);
  EXPECT_EQ(record.filters, kFilters);
  EXPECT_EQ(record.log, kTun2SocksTranscript);
}

TEST_F(Transcript, OfASessionOnTheEnginesOwnTunnel) {
  const Record record = RecordSession(NativeConfig(), kNativeReadyLine);
  EXPECT_EQ(record.changes, kNativeChanges);
  EXPECT_EQ(record.filters, kFilters);
  EXPECT_EQ(record.log, kNativeTranscript);
}

// One stop by the controller, one by the engine's own start.
TEST_F(Transcript, OfAStartThatReplacesASessionHasTwoStops) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  ASSERT_EQ(Start(Config()), "OK");
  EXPECT_EQ(CountOf("Stop completed in Nms"), 2u);
  EXPECT_TRUE(WaitForLogLine("dns-leak: Moorlak OS DNS set to 9.9.9.9 / 149.112.112.112"));
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
