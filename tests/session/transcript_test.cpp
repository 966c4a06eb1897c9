// What a good connect and disconnect write into the tunnel log, line by line, and what the machine looks like
// meanwhile.
#include <algorithm>
#include <regex>

#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr char kTun2SocksLog[] =
#include "session/golden/tun2socks_log.inc"
    ;
constexpr char kTun2SocksMachine[] =
#include "session/golden/tun2socks_machine.inc"
    ;
constexpr char kNativeLog[] =
#include "session/golden/native_log.inc"
    ;
constexpr char kNativeMachine[] =
#include "session/golden/native_machine.inc"
    ;

// The lab numbers the GUIDs of adapters by its calls, of which a wait makes now more, now fewer.
std::string WithoutNewGuids(const std::string& text) {
  static const std::regex guid(R"(\{5C0FFEE1-[-0-9A-F]*\})");
  return std::regex_replace(text, guid, "{NEW}");
}

// cmd.exe could not start the program: under Wine that happens to one process in some thousands.
constexpr char kLostProcess[] = "CMD exit=9009";

class Transcript : public TunnelSession {
 protected:
  // Connects and disconnects.
  void RunSession(const std::string& config, const char* readyLine) {
    ASSERT_EQ(Start(config), "OK");
    ASSERT_TRUE(WaitForReady(readyLine)) << testing::PrintToString(LogLines());
    whileUp = "\n" + WithoutNewGuids(DumpWhole());
    EXPECT_EQ(Stop(), "OK");
    ExpectRestored();
  }

  // The same, and once more when Wine lost a process.
  void Record(const std::string& config, const char* readyLine) {
    ASSERT_NO_FATAL_FAILURE(RunSession(config, readyLine));
    if (LogText().find(kLostProcess) == std::string::npos) return;
    Begin(lab::DhcpMachine());
    RunSession(config, readyLine);
  }

  // From the start command on.
  std::string LogText() const {
    const std::vector<std::string> lines = LogLines();
    std::string text = "\n";
    for (auto line = std::ranges::find(lines, "IPC server command 2 received"); line != lines.end(); ++line)
      text += *line + "\n";
    return WithoutNewGuids(text);
  }

  std::string whileUp;
};

TEST_F(Transcript, OfASessionWithTun2Socks) {
  Record(Config(), kReadyLine);
  EXPECT_EQ(LogText(), kTun2SocksLog);
  EXPECT_EQ(whileUp, kTun2SocksMachine);
}

TEST_F(Transcript, OfASessionOnTheEnginesTunnel) {
  Record(NativeConfig(), kNativeReadyLine);
  EXPECT_EQ(LogText(), kNativeLog);
  EXPECT_EQ(whileUp, kNativeMachine);
}

}  // namespace
}  // namespace moorlak::session
