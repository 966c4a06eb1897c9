// Two instances of the program on one machine: the second one does not touch what the first one has set.
#include <windows.h>

#include <gtest/gtest.h>

#include "base/paths.h"
#include "machine/support/console.h"
#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "support/log_watch.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr char kConfig[] = R"({"inbounds":[{"tag":"in_proxy","listen":"127.0.0.1","port":21807,"protocol":"socks"}],)"
                           R"("outbounds":[{"tag":"proxy","protocol":"freedom"}]})";

std::wstring ProxyServer() {
  wchar_t server[256] = L"";
  DWORD size = sizeof(server);
  RegGetValueW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings", L"ProxyServer",
               RRF_RT_REG_SZ, nullptr, server, &size);
  return server;
}

// Log lines of an instance that found the pipe's name in use.
size_t CountRefusals(const LogWatch& log) {
  size_t count = 0;
  for (const auto& message : log.Messages()) count += message.starts_with("CreateNamedPipe failed: ");
  return count;
}

bool WaitForProxyServer(const wchar_t* server) {
  return WaitUntil([server] { return ProxyServer() == server; });
}

TEST(SecondInstance, WaitsForThePipeAndLeavesTheSystemProxyOfTheFirstAloneWhenItEnds) {
  StartTunnelService();
  ASSERT_EQ(StartTunnel(true, kConfig), "OK");
  ASSERT_TRUE(WaitForProxyServer(L"socks=localhost:21807"));
  const LogWatch log;
  Console second = StartConsole();
  ASSERT_TRUE(log.WaitForMessageWith("CreateNamedPipe failed: "));
  PressEnter(second);
  ASSERT_TRUE(WaitForExit(second.program));
  EXPECT_EQ(ProxyServer(), L"socks=localhost:21807");
  EXPECT_TRUE(AskStatus().tunnelUp);
  EXPECT_EQ(Ask(CommandCode::Stop), "OK");
  EXPECT_TRUE(WaitForProxyServer(L""));
}

// Any user may open the mutex and so keep its name alive.
TEST(SecondInstance, ANameThatSomebodyKeepsAliveDoesNotKeepTheNextStartFromRecovering) {
  StartTunnelService();
  ASSERT_EQ(StartTunnel(true, kConfig), "OK");
  ASSERT_TRUE(WaitForProxyServer(L"socks=localhost:21807"));
  const KernelHandle pin(OpenMutexW(READ_CONTROL, FALSE, L"Global\\Moorlak_TunnelService"));
  ASSERT_TRUE(pin);
  KillTunnelService();
  StartTunnelService();
  EXPECT_TRUE(WaitForProxyServer(L""));
}

TEST(SecondInstance, AServiceThatComesSecondRunsNoRecoveryAndTakesThePipeOverWhenTheConsoleEnds) {
  const LogWatch log;
  Console first = StartConsole();
  ASSERT_EQ(StartTunnel(true, kConfig), "OK");
  ASSERT_TRUE(WaitForProxyServer(L"socks=localhost:21807"));
  LaunchTunnelService();
  // The pipe is created after recovery. A second instance that logs that the name is in use has had its chance to
  // recover.
  ASSERT_TRUE(WaitUntil([&] { return CountRefusals(log) >= 2; }));
  EXPECT_EQ(ProxyServer(), L"socks=localhost:21807");
  EXPECT_NE(GetFileAttributesW(kProxyRestoreFile), INVALID_FILE_ATTRIBUTES);
  EXPECT_TRUE(AskStatus().tunnelUp);
  EXPECT_EQ(ServerOf(ConnectPipe().Get()), first.program.processId);
  PressEnter(first);
  ASSERT_TRUE(WaitForExit(first.program));
  EXPECT_TRUE(WaitForProxyServer(L""));
  EXPECT_EQ(ServerOf(ConnectPipe().Get()), ServiceProcessId());
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=0 tunnel=0 up=0 down=0");
}

}  // namespace
}  // namespace moorlak::machine
