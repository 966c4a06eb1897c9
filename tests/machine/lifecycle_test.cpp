// The service process: service mode under the service control manager, console mode, start-up and end.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>

#include "base/handle.h"
#include "machine/support/child.h"
#include "machine/support/console.h"
#include "machine/support/ctrl_c.h"
#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/log_watch.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr DWORD kStopAndPreshutdown = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PRESHUTDOWN;

TEST(Lifecycle, RunsUnderTheServiceControlManagerAndStops) {
  const LogWatch log;
  StartTunnelService();
  const SERVICE_STATUS_PROCESS running = QueryTunnelService();
  EXPECT_EQ(running.dwServiceType, static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
  EXPECT_EQ(running.dwControlsAccepted, kStopAndPreshutdown);
  EXPECT_EQ(running.dwWaitHint, 0u);
  StopTunnelService();
  EXPECT_EQ(QueryTunnelService().dwWin32ExitCode, 0u);
  const auto messages = log.Messages();
  ASSERT_GE(messages.size(), 5u);
  EXPECT_EQ(messages[0], "MoorlakTunnel service starting");
  EXPECT_TRUE(messages[1].starts_with("=== session banner role=tunnel_service os=Windows 10.")) << messages[1];
  EXPECT_TRUE(messages[2].starts_with("Support: ")) << messages[2];
  EXPECT_EQ(messages[messages.size() - 2], "MoorlakTunnel: stopping tunnel");
  EXPECT_EQ(messages.back(), "MoorlakTunnel: stopped");
}

std::set<std::wstring> PrivilegesOf(DWORD processId) {
  const KernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  HANDLE opened = nullptr;
  EXPECT_TRUE(OpenProcessToken(process.Get(), TOKEN_QUERY, &opened));
  const KernelHandle token(opened);
  std::array<std::byte, 4096> bytes{};
  DWORD size = 0;
  EXPECT_TRUE(GetTokenInformation(token.Get(), TokenPrivileges, bytes.data(), bytes.size(), &size));
  const auto* privileges = reinterpret_cast<const TOKEN_PRIVILEGES*>(bytes.data());
  std::set<std::wstring> names;
  for (DWORD i = 0; i < privileges->PrivilegeCount; ++i) {
    LUID luid = privileges->Privileges[i].Luid;
    std::array<wchar_t, 64> name{};
    DWORD length = name.size();
    EXPECT_TRUE(LookupPrivilegeNameW(nullptr, &luid, name.data(), &length));
    names.emplace(name.data());
  }
  return names;
}

// The whole list, so that adding a privilege is a deliberate decision. Privileges that the simulated system does not
// grant in the first place are absent.
TEST(Lifecycle, KeepsOnlyThePrivilegesThatItUses) {
  const std::set<std::wstring> used{
      L"SeAssignPrimaryTokenPrivilege", L"SeBackupPrivilege",        L"SeChangeNotifyPrivilege",
      L"SeCreateGlobalPrivilege",       L"SeDebugPrivilege",         L"SeImpersonatePrivilege",
      L"SeIncreaseQuotaPrivilege",      L"SeLoadDriverPrivilege",    L"SeRestorePrivilege",
      L"SeSecurityPrivilege",           L"SeTakeOwnershipPrivilege", L"SeTcbPrivilege"};
  const std::set<std::wstring> granted = PrivilegesOf(GetCurrentProcessId());
  StartTunnelService();
  const std::set<std::wstring> kept = PrivilegesOf(ServiceProcessId());
  std::set<std::wstring> expected;
  std::ranges::set_intersection(granted, used, std::inserter(expected, expected.end()));
  EXPECT_EQ(kept, expected);
  EXPECT_GT(granted.size(), expected.size());
}

// All these tests end the service with heap checks on.
TEST(Lifecycle, TheServicesHeapIsChecked) {
  StartTunnelService();
  EXPECT_TRUE(ServiceChecksItsHeap());
}

// By default Windows waits ten seconds for a service.
TEST(Lifecycle, AsksTheSystemForAMinuteWhenItGoesDown) {
  InstallService();
  SetPreshutdownTimeout(10'000);
  ASSERT_EQ(PreshutdownTimeout(), 10'000u);
  StartTunnelService();
  EXPECT_TRUE(WaitUntil([] { return PreshutdownTimeout() == 60'000; }));
  StopTunnelService();
  EXPECT_EQ(PreshutdownTimeout(), 60'000u);
}

TEST(Lifecycle, IgnoresOtherControls) {
  StartTunnelService();
  EXPECT_EQ(ControlTunnelService(SERVICE_CONTROL_INTERROGATE), NO_ERROR);
  EXPECT_EQ(ControlTunnelService(200), NO_ERROR);
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
}

TEST(Lifecycle, StartsAgainAfterAStop) {
  for (int round = 0; round < 3; ++round) {
    StartTunnelService();
    StopTunnelService();
  }
}

TEST(Lifecycle, ExitsWith1063WhenStartedByHand) {
  const LogWatch log;
  DWORD exitCode = 0;
  const std::string output = RunProgram(ServiceCommand(L""), exitCode);
  EXPECT_EQ(exitCode, static_cast<DWORD>(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT));
  EXPECT_EQ(output,
            "This is a Windows service. To start it: sc start MoorlakTunnel. To run it in this window: "
            "moorlak_service --console\n");
  EXPECT_EQ(log.Count("StartServiceCtrlDispatcher failed: 1063"), 1u);
}

class ConsoleMode : public testing::TestWithParam<const wchar_t*> {};

TEST_P(ConsoleMode, ServesUntilEnterWhateverTheCaseOfItsArgument) {
  const LogWatch log;
  Console console = StartConsole(GetParam());
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_EQ(Output(console.program), "Moorlak tunnel service (console mode)\r\nPress Enter to stop...\r\n");
  PressEnter(console);
  EXPECT_TRUE(WaitForExit(console.program));
  EXPECT_EQ(ExitCode(console.program), 0u);
  EXPECT_EQ(log.Messages().front(), "MoorlakTunnel console mode");
  for (const auto& message : log.Messages()) EXPECT_EQ(message.find("session banner"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Spellings, ConsoleMode,
                         testing::Values(L"--console", L"--CONSOLE", L"--Console", L"--console ignored"));

TEST(ConsoleModeEnd, TreatsCtrlCAsEnterAndPutsTheMachineBackFirst) {
  const std::string before = DumpSystemProxy();
  const uint16_t port = NextPort();
  Console console = StartConsole(L"--console");
  ASSERT_EQ(StartTunnel(true, EngineConfig(port)), "OK");
  ASSERT_TRUE(WaitForSystemProxy(OurServer(port)));
  EXPECT_TRUE(PressCtrlC(console.program.processId));
  EXPECT_TRUE(WaitForExit(console.program));
  EXPECT_EQ(ExitCode(console.program), 0u);
  EXPECT_EQ(DumpSystemProxy(), before);
  EXPECT_TRUE(WaitForNoEngine());
}

TEST(ConsoleModeEnd, EndsAtTheEndOfInput) {
  Console console = StartConsole(L"--console");
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  console.keyboard.Reset();
  EXPECT_TRUE(WaitForExit(console.program));
  EXPECT_EQ(ExitCode(console.program), 0u);
}

// Sends the stop control while a start is being handled. False if the start's reply came before the control took
// effect.
bool StopsDuringAStart() {
  StartTunnelService();
  const std::string config = EngineConfig(NextPort());
  EXPECT_EQ(StartTunnel(true, config), "OK");
  const EngineProcess first = WaitForEngine(ServiceProcessId());
  // The second start also waits for the query in flight to be ended.
  WaitForQuery(ServiceProcessId());
  const LogWatch log;
  const std::string payload = EncodeStartPayload(true, config);
  const KernelHandle pipe = ConnectPipe();
  EXPECT_TRUE(SendBytes(pipe.Get(), EncodeRequest(CommandCode::Start, payload)));
  EXPECT_TRUE(log.WaitForMessage("IPC start (payload bytes=" + std::to_string(payload.size()) + ")"));
  // The earlier engine ends only once the new start has been accepted.
  EXPECT_TRUE(WaitForEnd(first));
  EXPECT_EQ(ControlTunnelService(SERVICE_CONTROL_STOP), NO_ERROR);
  DWORD answered = 0;
  EXPECT_TRUE(PeekNamedPipe(pipe.Get(), nullptr, 0, nullptr, &answered, nullptr));
  // After the earlier session has ended, the start checks once more whether the service is stopping.
  const std::string reply = ReadReply(pipe.Get()).value_or("none");
  EXPECT_TRUE(reply == "OK" || reply == "ERR:Proxy service is unavailable.") << reply;
  EXPECT_TRUE(WaitForServiceState(SERVICE_STOPPED));
  EXPECT_EQ(log.Count("MoorlakTunnel: stopped"), 1u);
  return answered == 0;
}

TEST(Lifecycle, AStopControlDuringAStartGetsAReplyAndLeavesNoTunnel) {
  constexpr int kTries = 10;
  ResetSystemProxy();
  const std::string before = DumpSystemProxy();
  // A hanging query delays the end of the first tunnel, and so the second start.
  const EngineFaults faults(R"("apiHang":true)");
  bool during = false;
  for (int tries = 0; !during && tries < kTries; ++tries) {
    during = StopsDuringAStart();
    EXPECT_TRUE(WaitForNoEngine());
    EXPECT_EQ(DumpSystemProxy(), before);
  }
  EXPECT_TRUE(during);
}

TEST(Lifecycle, ReportsStopPendingWithAHintOf45000Ms) {
  const auto expectStopPending = [] {
    const SERVICE_STATUS_PROCESS status = QueryTunnelService();
    EXPECT_EQ(status.dwCurrentState, static_cast<DWORD>(SERVICE_STOP_PENDING));
    EXPECT_EQ(status.dwControlsAccepted, kStopAndPreshutdown);
    EXPECT_EQ(status.dwWaitHint, 45'000u);
  };
  StartTunnelService();
  const LogWatch log;
  // An unread reply keeps the service busy.
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(SendBytes(pipe.Get(), EncodeRequest(CommandCode::Ping, {})));
  ASSERT_TRUE(log.WaitForMessage("IPC ping"));
  EXPECT_EQ(ControlTunnelService(SERVICE_CONTROL_STOP), NO_ERROR);
  expectStopPending();
  ASSERT_TRUE(log.WaitForMessage("MoorlakTunnel: stopping tunnel"));
  expectStopPending();
  EXPECT_EQ(ReadReply(pipe.Get()), "OK");
  EXPECT_TRUE(WaitForServiceState(SERVICE_STOPPED));
}

TEST(Lifecycle, AStopEndsAHalfReadRequestAtOnce) {
  StartTunnelService();
  const LogWatch log;
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(SendBytes(pipe.Get(), RawRequest(2, 1000, "half of it")));
  ASSERT_TRUE(log.WaitForMessage("IPC server command 2 received"));
  EXPECT_EQ(ControlTunnelService(SERVICE_CONTROL_STOP), NO_ERROR);
  EXPECT_TRUE(WaitForServiceState(SERVICE_STOPPED));
  EXPECT_EQ(log.Count("IPC: ReadExact timed out after 8000ms"), 0u);
}

}  // namespace
}  // namespace moorlak::machine
