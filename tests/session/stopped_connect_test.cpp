// A stop command while the connect is held at one of its steps.
#include <algorithm>
#include <future>

#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr char kSocksFailure[] =
    "ERROR: SOCKS data path not healthy — aborting connect (another tunnel or network conflict may be interfering; "
    "retry)";
constexpr char kNativeSocksFailure[] = "ERROR: SOCKS data path not healthy — aborting connect";
constexpr char kValidationFailure[] = "Injected Xray config failed validation";

struct Step {
  const char* name;
  const char* call;
  const char* argument;
  bool native = false;
  // The only failure line that a stop at this step leaves. Empty for none.
  const char* line = "";
  // The call hangs forever. Otherwise it returns at the stop.
  bool hangs = false;
};
void PrintTo(const Step& step, std::ostream* out) {
  *out << step.name;
}

bool LogsFailure(const std::string& line) {
  return line.starts_with("ERROR") || line.find("aborting connect") != std::string::npos ||
         line.find("exited unexpectedly") != std::string::npos || line.find("did not appear") != std::string::npos ||
         line == kValidationFailure;
}

// Every stop removes the tunnel's default route twice: at once, and in its clean-up. If the session cleaned up as well,
// there would be more removals.
constexpr size_t kDropsOfAStop = 2;

class StoppedSession : public TunnelSession {
 protected:
  void Connect(const std::string& config) {
    dropsBefore = CountDrops();
    ASSERT_EQ(Start(config), "OK");
  }

  // Sends the stop, releases the held call once the stop is under way, and reads the reply.
  void StopAndRelease() {
    auto reply = std::async(std::launch::async, [this] { return Stop(); });
    // The stop is requested first, and the engines are ended before the route is removed.
    EXPECT_TRUE(WaitUntil([this] { return CountDrops() > dropsBefore; }));
    lab::ReleaseBreak();
    EXPECT_EQ(reply.get(), "OK");
  }

  std::vector<std::string> FailureLines() const {
    std::vector<std::string> lines = LogLines();
    std::erase_if(lines, [](const std::string& line) { return !LogsFailure(line); });
    return lines;
  }

  void ExpectOneCleanUp() const {
    EXPECT_FALSE(Status().running);
    ExpectRestored();
    EXPECT_EQ(CountDrops() - dropsBefore, kDropsOfAStop);
  }

 private:
  static size_t CountDrops() {
    const auto calls = CallsOf("route");
    return static_cast<size_t>(
        std::ranges::count_if(calls, [](const std::string& call) { return call.starts_with("DELETE 0.0.0.0 "); }));
  }

  size_t dropsBefore = 0;
};

class StoppedConnect : public StoppedSession, public testing::WithParamInterface<Step> {
 protected:
  // Waits until the call is held.
  static bool IsHeld() {
    if (!GetParam().hangs) return WaitForBreak();
    return WaitUntil([] { return !CallsOf(GetParam().call).empty(); });
  }
};

TEST_P(StoppedConnect, EndsQuietlyAndPutsEverythingBackOnce) {
  const Step& step = GetParam();
  PlanFault(step.hangs ? "hang" : "break", step.call, step.argument);
  ASSERT_NO_FATAL_FAILURE(Connect(step.native ? NativeConfig() : Config()));
  ASSERT_TRUE(IsHeld()) << testing::PrintToString(LogLines());
  StopAndRelease();
  ExpectOneCleanUp();
  std::vector<std::string> expected;
  if (*step.line != '\0') expected.emplace_back(step.line);
  EXPECT_EQ(FailureLines(), expected);
}

using StoppedBeforeAnEngine = StoppedSession;

TEST_F(StoppedBeforeAnEngine, BeginsNoFurtherStep) {
  for (const bool native : {false, true}) {
    Begin(lab::DhcpMachine());
    BreakAt(native ? "WintunCloseAdapter" : "SetupDiGetClassDevsW");
    ASSERT_NO_FATAL_FAILURE(Connect(native ? NativeConfig() : Config()));
    ASSERT_TRUE(WaitForBreak()) << testing::PrintToString(LogLines());
    StopAndRelease();
    ExpectOneCleanUp();
    EXPECT_EQ(FailureLines(), std::vector<std::string>{});
    EXPECT_TRUE(CallsOf("xray-test").empty());
    for (const std::string& line : LogLines()) EXPECT_FALSE(line.starts_with("OS DNS=")) << line;
  }
}

// These steps make no system call to hold: the stop is sent when their line is logged, wherever the session is by then.
TEST_F(StoppedBeforeAnEngine, EndsWhereverItIs) {
  const char* const lines[] = {"IPC start accepted", "Xray routing rules injected (api/stats + bypass)"};
  for (const char* line : lines) {
    Begin(lab::DhcpMachine());
    ASSERT_NO_FATAL_FAILURE(Connect(Config()));
    ASSERT_TRUE(WaitForLogLine(line));
    EXPECT_EQ(Stop(), "OK");
    ExpectOneCleanUp();
    for (const std::string& failure : FailureLines()) EXPECT_EQ(failure, kValidationFailure);
  }
}

using StoppedAdapterWait = StoppedSession;

TEST_F(StoppedAdapterWait, WithoutAnyAdapterEndsQuietly) {
  machine::StopTunnelService();
  PlanFault("fail", "WintunOpenAdapter", "", 0, 5);
  PlanFault("fail", "WintunCreateAdapter", "", 0, 5);
  machine::StartTunnelService();
  BreakAt("tun2socks");
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  ASSERT_TRUE(WaitForBreak()) << testing::PrintToString(LogLines());
  // Lets the stop bring the service's adapter back.
  ClearFaults();
  StopAndRelease();
  ExpectOneCleanUp();
  EXPECT_EQ(FailureLines(), std::vector<std::string>{});
}

struct Pause {
  const char* name;
  bool native;
  const char* failingWay;
  // The last line before the pause, except for the port.
  const char* lineHead;
  const char* line;
};
void PrintTo(const Pause& pause, std::ostream* out) {
  *out << pause.name;
}

class StoppedProbePause : public StoppedSession, public testing::WithParamInterface<Pause> {};

TEST_P(StoppedProbePause, EndsWithTheLinesOfItsProbeAlone) {
  const Pause& pause = GetParam();
  PlanFault("fail", "WinHttpSendRequest", pause.failingWay, 0, 12029);
  ASSERT_NO_FATAL_FAILURE(Connect(pause.native ? NativeConfig() : Config()));
  const std::string port =
      pause.native || pause.failingWay != std::string("via socks") ? "" : " socks=" + std::to_string(client.socksPort);
  ASSERT_TRUE(WaitForLogLine(pause.lineHead + port + " url=https://cp.cloudflare.com/generate_204 attempt=1"));
  EXPECT_EQ(Stop(), "OK");
  ExpectOneCleanUp();
  std::vector<std::string> expected;
  if (*pause.line != '\0') expected.emplace_back(pause.line);
  EXPECT_EQ(FailureLines(), expected);
}

constexpr char kSocksFailed[] = "pre-ready SOCKS probe FAILED";
constexpr char kTunnelFailed[] = "pre-ready TUN path probe FAILED";

INSTANTIATE_TEST_SUITE_P(Pauses, StoppedProbePause,
                         testing::Values(Pause{"Socks", false, "via socks", kSocksFailed, kSocksFailure},
                                         Pause{"NativeSocks", true, "via socks", kSocksFailed, kNativeSocksFailure},
                                         Pause{"Tunnel", false, "via Moorlak", kTunnelFailed, ""},
                                         Pause{"NativeTunnel", true, "via Moorlak", kTunnelFailed, ""}),
                         [](const auto& pause) { return std::string(pause.param.name); });

using StoppedDefaultRoute = TunnelSession;

// The stop removes the default route at once. A connect still running must not add one afterwards.
TEST_F(StoppedDefaultRoute, IsNotTakenAfterTheStop) {
  BreakAt("netsh", "metric=1");
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForBreak()) << testing::PrintToString(LogLines());
  auto reply = std::async(std::launch::async, [this] { return Stop(); });
  ASSERT_TRUE(WaitForNone(kXrayImage));
  lab::ReleaseBreak();
  EXPECT_EQ(reply.get(), "OK");
  for (const std::string& call : CallsOf("netsh")) EXPECT_EQ(call.find("add route"), std::string::npos) << call;
  ExpectRestored();
}

using StopBeforeAnyStart = TunnelSession;

TEST_F(StopBeforeAnyStart, ChangesNothingAndReportsNothing) {
  const std::vector<std::string> lines = LogLines();
  const uint64_t changes = ChangesSoFar();
  EXPECT_EQ(Stop(), "OK");
  std::vector<std::string> now = LogLines();
  now.erase(now.begin(), now.begin() + static_cast<ptrdiff_t>(lines.size()));
  std::erase_if(now, [](const std::string& line) { return line.starts_with("IPC "); });
  EXPECT_EQ(now, std::vector<std::string>{});
  EXPECT_EQ(ChangesSoFar(), changes);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, StoppedConnect,
    testing::Values(Step{"AdapterSetUp", "SetupDiGetClassDevsW", ""},
                    Step{"NativeAdapterRelease", "WintunCloseAdapter", "", true},
                    Step{"Validation", "xray-test", "", false, kValidationFailure, true}, Step{"XrayStart", "xray", ""},
                    Step{"EnableAdapter", "netsh", "admin=ENABLED"}, Step{"DirectRoute", "route", "ADD 198.51.100.30"},
                    Step{"Tun2SocksStart", "tun2socks", ""}, Step{"AdapterAddress", "netsh", "set address"},
                    Step{"ServerRoute", "route", "ADD 203.0.113.7"}, Step{"DnsRoute", "route", "ADD 9.9.9.9"},
                    Step{"PanelRoute", "route", "ADD 198.51.100.20"}, Step{"LanRoute", "route", "ADD 172.16.0.0"},
                    Step{"SocksProbe", "WinHttpSendRequest", "via socks", false, kSocksFailure},
                    Step{"Metric", "netsh", "metric=1"}, Step{"DefaultRoute", "netsh", "add route 0.0.0.0/0"},
                    Step{"TunnelProbe", "WinHttpSendRequest", "via Moorlak"},
                    Step{"ProfileName", "INetwork::SetName", "Moorlak Network"},
                    Step{"PhysicalDns", "netsh", "static 127.0.0.1"}, Step{"TunnelDns", "netsh", "static 9.9.9.9"},
                    Step{"Guard", "FwpmTransactionCommit0", ""}, Step{"NativeXrayStart", "xray", "", true},
                    Step{"NativeAdapter", "xray-tunnel", "", true},
                    Step{"NativeEnableAdapter", "netsh", "admin=ENABLED", true},
                    Step{"NativePanelRoute", "route", "ADD 198.51.100.20", true},
                    Step{"NativeSocksProbe", "WinHttpSendRequest", "via socks", true, kNativeSocksFailure},
                    Step{"NativeProfileName", "INetwork::SetName", "Moorlak Network", true},
                    Step{"NativePhysicalDns", "netsh", "static 127.0.0.1", true},
                    Step{"NativeServerRoute", "route", "ADD 203.0.113.7", true},
                    Step{"NativeTunnelProbe", "WinHttpSendRequest", "via Moorlak", true},
                    Step{"NativeGuard", "FwpmTransactionCommit0", "", true}),
    [](const auto& step) { return std::string(step.param.name); });

}  // namespace
}  // namespace moorlak::session
