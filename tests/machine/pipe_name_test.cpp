// The pipe's name: what the service does while another process holds it.
#include <gtest/gtest.h>

#include "machine/support/console.h"
#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "support/log_watch.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr char kSquattedLine[] = "CreateNamedPipe failed: 5 (pipe name squatted — waiting)";

// A pipe of that name that only receives. Creating a second one, for both directions, then fails with error 5.
KernelHandle SquatOnPipeName() {
  return KernelHandle(CreateNamedPipeW(kPipeName, PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE | PIPE_WAIT,
                                       PIPE_UNLIMITED_INSTANCES, 4096, 4096, 0, nullptr));
}

TEST(PipeName, ASquattedNameIsLoggedEvery500MsUntilItIsFree) {
  const LogWatch log;
  KernelHandle squatter = SquatOnPipeName();
  ASSERT_TRUE(squatter) << GetLastError();
  const auto begin = std::chrono::steady_clock::now();
  LaunchTunnelService();
  ASSERT_TRUE(WaitUntil([&] { return log.Count(kSquattedLine) >= 4; }));
  // There are three waits between four lines.
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1400));
  squatter.Reset();
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  const size_t lines = log.Count(kSquattedLine);
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_EQ(log.Count(kSquattedLine), lines);
}

TEST(PipeName, AServiceThatWaitsForTheNameStopsWhenAsked) {
  const LogWatch log;
  const KernelHandle squatter = SquatOnPipeName();
  LaunchTunnelService();
  ASSERT_TRUE(log.WaitForMessage(kSquattedLine));
  StopTunnelService();
  EXPECT_EQ(QueryTunnelService().dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
}

TEST(PipeName, ASecondInstanceWaitsAndTakesThePipeOverWhenTheFirstStops) {
  StartTunnelService();
  const LogWatch log;
  const Console second = StartConsole();
  const auto isRefusal = [](const std::string& message) { return message.starts_with("CreateNamedPipe failed: "); };
  ASSERT_TRUE(WaitUntil([&] {
    const auto messages = log.Messages();
    return std::count_if(messages.begin(), messages.end(), isRefusal) >= 2;
  }));
  // The first client since the second instance began to wait.
  EXPECT_EQ(ServerOf(ConnectPipe().Get()), ServiceProcessId());
  StopTunnelService();
  EXPECT_EQ(ServerOf(ConnectPipe().Get()), second.program.processId);
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
}

}  // namespace
}  // namespace moorlak::machine
