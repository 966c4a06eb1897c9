// The service's start as seen by the service control manager and on the machine.
#include <algorithm>

#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr char kSetUpFailed[] = "MoorlakTunnel: persistent adapter setup failed (will retry on disconnect)";
constexpr char kNameServersLooked[] = "dns-guard: skip force-clear SMHNR — no Moorlak session marker";
constexpr char kProfileCall[] = "INetworkListManager::GetNetworks";

class ServiceStart : public TunnelSession {
 protected:
  ServiceStart() { machine::StopTunnelService(); }

  // The service's status while its start is held at the call; the start before this one continues.
  static SERVICE_STATUS_PROCESS StatusAt(const char* call, const char* argument = "") {
    BreakAt(call, argument);
    lab::ReleaseBreak();
    if (machine::QueryTunnelService().dwCurrentState == SERVICE_STOPPED) machine::BeginTunnelServiceStart();
    EXPECT_TRUE(WaitForBreak()) << call;
    const SERVICE_STATUS_PROCESS status = machine::QueryTunnelService();
    EXPECT_EQ(status.dwCurrentState, static_cast<DWORD>(SERVICE_START_PENDING)) << call;
    EXPECT_EQ(status.dwControlsAccepted, 0u) << call;
    EXPECT_EQ(status.dwWaitHint, 3000u) << call;
    return status;
  }
};

TEST_F(ServiceStart, ReportsAfterEachStepOfTheRecoveryThatItGoesOn) {
  const DWORD atAdapter = StatusAt("WintunOpenAdapter").dwCheckPoint;
  const DWORD atNameServers = StatusAt("FwpmEngineOpen0").dwCheckPoint;
  const DWORD atSharing = StatusAt("netsh", "advfirewall").dwCheckPoint;
  EXPECT_GT(atNameServers, atAdapter);
  EXPECT_GT(atSharing, atNameServers);
  lab::ReleaseBreak();
  EXPECT_TRUE(machine::WaitForServiceState(SERVICE_RUNNING));
  const SERVICE_STATUS_PROCESS running = machine::QueryTunnelService();
  EXPECT_EQ(running.dwCheckPoint, 0u);
  EXPECT_EQ(running.dwWaitHint, 0u);
}

TEST_F(ServiceStart, ReportsAFailedAdapterBeforeItLooksAfterTheNameServers) {
  PlanFault("fail", "WintunOpenAdapter", "", 0, 5);
  PlanFault("fail", "WintunCreateAdapter", "", 0, 5);
  const size_t linesBefore = LogLines().size();
  machine::StartTunnelService();
  std::vector<std::string> lines = LogLines();
  lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(linesBefore));
  const auto failed = std::ranges::find(lines, kSetUpFailed);
  const auto looked = std::ranges::find(lines, kNameServersLooked);
  ASSERT_NE(failed, lines.end());
  ASSERT_NE(looked, lines.end());
  EXPECT_LT(failed, looked);
}

// The network list may reply after half a minute, or never. Nothing depends on its reply.
TEST_F(ServiceStart, DoesNotWaitForANetworkListThatDoesNotAnswer) {
  PlanFault("hang", kProfileCall, "", 0);
  machine::StartTunnelService();
  EXPECT_FALSE(CallsOf(kProfileCall).empty());
  EXPECT_EQ(Start(Config()), "OK");
  EXPECT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
  machine::StopTunnelService();
  EXPECT_EQ(machine::QueryTunnelService().dwWin32ExitCode, 0u);
}

TEST_F(ServiceStart, NorDoesAConnect) {
  machine::StartTunnelService();
  PlanFault("hang", kProfileCall, "", 0);
  EXPECT_EQ(Start(Config()), "OK");
  EXPECT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

// The reply comes while the service ends, or later.
TEST_F(ServiceStart, WhatItLeftBehindDoesNotHarmItsEnd) {
  for (const uint32_t answerAfterMs : {3200U, 3600U, 4000U}) {
    ClearFaults();
    PlanFault("delay", kProfileCall, "", 0, answerAfterMs);
    machine::StartTunnelService();
    const DWORD id = machine::ServiceProcessId();
    const KernelHandle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    machine::StopTunnelService();
    DWORD exitCode = STILL_ACTIVE;
    EXPECT_TRUE(GetExitCodeProcess(process.Get(), &exitCode));
    EXPECT_EQ(exitCode, 0u) << answerAfterMs;
  }
}

TEST_F(ServiceStart, TurnsTheSystemsQuestionsToAUserOff) {
  machine::StartTunnelService();
  EXPECT_EQ(CallsOf("SetupSetNonInteractiveMode"), std::vector<std::string>(2, "1 -> 0"));
}

}  // namespace
}  // namespace moorlak::session
