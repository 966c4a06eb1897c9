// The ways in which a session that is up ends other than by the stop command.
#include <algorithm>
#include <filesystem>

#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"

namespace moorlak::session {
namespace {

namespace fs = std::filesystem;

constexpr char kXrayGone[] = "Xray process exited unexpectedly";
constexpr char kTun2SocksGone[] = "Tun2Socks process exited unexpectedly";
constexpr char kOrphanLine[] = "UI process exited while tunnel up — stopping orphaned tunnel";

bool HasStagedConfig() {
  return fs::exists(fs::temp_directory_path() / "flutter_vless_vpn" / "vpn_config_active.json");
}

// What differs between the paths: the configuration, and the line that says that the tunnel is up.
struct Path {
  const char* name;
  bool native;
};
void PrintTo(const Path& path, std::ostream* out) {
  *out << path.name;
}

class EndedSession : public TunnelSession, public testing::WithParamInterface<Path> {
 protected:
  std::string PathConfig() const { return GetParam().native ? NativeConfig() : Config(); }
  const char* ReadyLine() const { return GetParam().native ? kNativeReadyLine : kReadyLine; }

  void Connect() {
    ASSERT_EQ(Start(PathConfig()), "OK");
    ASSERT_TRUE(WaitForReady(ReadyLine())) << testing::PrintToString(LogLines());
  }
  size_t CountLines(const char* line) const {
    const auto lines = LogLines();
    return static_cast<size_t>(std::ranges::count(lines, line));
  }
};

TEST_P(EndedSession, ByTheDeathOfXrayIsReportedAndPutsEverythingBack) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  KillProcess(WaitForProcess(kXrayImage));
  EXPECT_TRUE(WaitForLogLine(kXrayGone));
  EXPECT_TRUE(WaitForEnd());
  EXPECT_FALSE(Status().tunnelUp);
  EXPECT_EQ(CountLines(kXrayGone), 1u);
  // The service's own adapter, which was removed for the engine's, comes back with the next stop command.
  const std::string reply = GetParam().native ? Stop() : "OK";
  EXPECT_EQ(reply, "OK");
  ExpectRestored();
}

TEST_P(EndedSession, ByTheUserInterfacesEndPutsEverythingBack) {
  machine::Child ui = StartUi(PathConfig());
  ASSERT_TRUE(WaitForReady(ReadyLine())) << testing::PrintToString(LogLines());
  Kill(ui);
  EXPECT_TRUE(WaitForLogLine(kOrphanLine));
  EXPECT_TRUE(WaitForEnd());
  ExpectRestored();
}

TEST_P(EndedSession, ByTheServicesStopIsUndoneBeforeTheServiceEnds) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  machine::StopTunnelService();
  EXPECT_EQ(PendingTraces(), std::vector<std::string>{});
  EXPECT_EQ(Now().find("\"Moorlak\" virtual"), std::string::npos) << Now();
  machine::StartTunnelService();
  ExpectRestored();
}

TEST_P(EndedSession, ByTheServicesDeathIsUndoneByItsNextStart) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  machine::KillTunnelService();
  EXPECT_NE(PendingTraces(), std::vector<std::string>{});
  machine::StartTunnelService();
  ExpectRestored();
}

// The file contains the user's credentials. The test looks for it before any recovery has run.
TEST_P(EndedSession, ByAStopTakesTheStagedConfigurationAway) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  EXPECT_TRUE(HasStagedConfig());
  EXPECT_EQ(Stop(), "OK");
  EXPECT_FALSE(HasStagedConfig());
  ExpectRestored();
}

TEST_P(EndedSession, ByItselfTakesTheStagedConfigurationAway) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  EXPECT_TRUE(HasStagedConfig());
  KillProcess(WaitForProcess(kXrayImage));
  EXPECT_TRUE(WaitForEnd());
  EXPECT_FALSE(HasStagedConfig());
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

INSTANTIATE_TEST_SUITE_P(Paths, EndedSession, testing::Values(Path{"Tun2Socks", false}, Path{"NativeTun", true}),
                         [](const auto& path) { return std::string(path.param.name); });

using EndedTun2SocksSession = TunnelSession;

TEST_F(EndedTun2SocksSession, ByTheDeathOfTun2SocksIsReportedAndPutsEverythingBack) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  KillProcess(WaitForProcess(kTun2SocksImage));
  EXPECT_TRUE(WaitForLogLine(kTun2SocksGone));
  EXPECT_TRUE(WaitForEnd());
  ExpectRestored();
}

// The user interface must not show a tunnel that no longer carries traffic.
TEST_F(EndedTun2SocksSession, ByTheDeathOfTun2SocksIsNoTunnelAnyMoreWhileTheMachineIsPutBack) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  // The first call of the clean-up.
  BreakAt("DeleteIpForwardEntry2");
  KillProcess(WaitForProcess(kTun2SocksImage));
  ASSERT_TRUE(WaitForBreak());
  const StatusReply status = Status();
  EXPECT_FALSE(status.tunnelUp);
  EXPECT_TRUE(status.running);
  lab::ReleaseBreak();
  EXPECT_TRUE(WaitForEnd());
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
