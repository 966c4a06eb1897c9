// A stop command while the connect is held at one of its steps.
#include <future>

#include "machine/support/wait.h"
#include "session/support/processes.h"
#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr char kSocksFailure[] =
    "ERROR: SOCKS data path not healthy — aborting connect (another tunnel or network conflict may be interfering; "
    "retry)";
constexpr char kValidationFailure[] = "Injected Xray config failed validation";

struct Step {
  const char* name;
  const char* call;
  const char* argument;
  bool native = false;
  // The one line of failure that a stop at this step leaves; empty for none.
  const char* line = "";
  // The call never comes back, rather than at the stop.
  bool hangs = false;
};
void PrintTo(const Step& step, std::ostream* out) {
  *out << step.name;
}

bool TellsOfFailure(const std::string& line) {
  return line.starts_with("ERROR") || line.find("aborting connect") != std::string::npos ||
         line.find("exited unexpectedly") != std::string::npos || line == kValidationFailure;
}

class StoppedConnect : public TunnelSession, public testing::WithParamInterface<Step> {
 protected:
  // Waits until the call is held.
  static bool IsHeld() {
    if (!GetParam().hangs) return WaitForBreak();
    return machine::WaitUntil([] { return !CallsOf(GetParam().call).empty(); });
  }
  std::vector<std::string> FailureLines() const {
    std::vector<std::string> lines = LogLines();
    std::erase_if(lines, [](const std::string& line) { return !TellsOfFailure(line); });
    return lines;
  }
};

TEST_P(StoppedConnect, EndsQuietlyAndPutsEverythingBack) {
  const Step& step = GetParam();
  PlanFault(step.hangs ? "hang" : "break", step.call, step.argument);
  ASSERT_EQ(Start(step.native ? NativeConfig() : Config()), "OK");
  ASSERT_TRUE(IsHeld()) << testing::PrintToString(LogLines());
  auto reply = std::async(std::launch::async, [this] { return Stop(); });
  // The stop has begun when it ends the engines: the wish comes first.
  ASSERT_TRUE(WaitForNone(kXrayImage));
  lab::ReleaseBreak();
  EXPECT_EQ(reply.get(), "OK");
  EXPECT_FALSE(Status().running);
  ExpectRestored();
  std::vector<std::string> expected;
  if (*step.line != '\0') expected.emplace_back(step.line);
  EXPECT_EQ(FailureLines(), expected);
}

using StoppedDefaultRoute = TunnelSession;

// The stop drops the default route at once; a connect that goes on must not add one behind it.
TEST_F(StoppedDefaultRoute, IsNotTakenBehindTheStop) {
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

TEST_F(StopBeforeAnyStart, ChangesNothingAndTellsNothing) {
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
    testing::Values(Step{"Validation", "xray-test", "", false, kValidationFailure, true}, Step{"XrayStart", "xray", ""},
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
                    Step{"NativeSocksProbe", "WinHttpSendRequest", "via socks", true,
                         "ERROR: SOCKS data path not healthy — aborting connect"},
                    Step{"NativeProfileName", "INetwork::SetName", "Moorlak Network", true},
                    Step{"NativePhysicalDns", "netsh", "static 127.0.0.1", true},
                    Step{"NativeServerRoute", "route", "ADD 203.0.113.7", true},
                    Step{"NativeTunnelProbe", "WinHttpSendRequest", "via Moorlak", true},
                    Step{"NativeGuard", "FwpmTransactionCommit0", "", true}),
    [](const auto& step) { return std::string(step.param.name); });

}  // namespace
}  // namespace moorlak::session
