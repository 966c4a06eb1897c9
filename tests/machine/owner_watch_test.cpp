// The tunnel's owner is the process that sent the last accepted start. The tunnel ends when its owner ends.
#include <filesystem>
#include <gtest/gtest.h>

#include "base/durable_file.h"
#include "machine/support/child.h"
#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/raw_caller.h"
#include "machine/support/running_service.h"
#include "machine/support/service_control.h"
#include "support/log_watch.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr char kOrphanLine[] = "UI process exited while tunnel up — stopping orphaned tunnel";
// More than two rounds of the owner watch.
constexpr std::chrono::milliseconds kTwoRounds{2500};

class OwnerWatch : public RunningService {
 protected:
  void TearDown() override { DeleteFileW(configFile.c_str()); }

  // A process that has started the tunnel and keeps running.
  Child StartOwner() const {
    const uint16_t port = NextPort();
    EXPECT_TRUE(WriteFileDurably(configFile, EngineConfig(port)));
    Child owner = StartProgram(CallerCommand(L"start \"" + configFile + L"\""));
    EXPECT_TRUE(WaitUntil([&] { return Output(owner).ends_with("\n"); }));
    EXPECT_TRUE(Output(owner).starts_with("OK")) << Output(owner);
    EXPECT_TRUE(WaitForListener(port));
    return owner;
  }

  // Whether the tunnel stays up for longer than two rounds of the watch.
  static bool StaysUp() {
    return !WaitUntil([] { return !AskStatus().running; }, kTwoRounds);
  }

  const LogWatch log;
  const std::wstring configFile = (std::filesystem::temp_directory_path() / L"owner_watch_config.json").wstring();
};

TEST_F(OwnerWatch, KillingTheOwnerStopsTheTunnel) {
  Child owner = StartOwner();
  Kill(owner);
  EXPECT_TRUE(WaitUntil([] { return !AskStatus().running; }));
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=0 tunnel=0 up=0 down=0");
  EXPECT_EQ(log.Count(kOrphanLine), 1u);
}

TEST_F(OwnerWatch, KillingTheOwnerAfterAStopDoesNothing) {
  Child first = StartOwner();
  EXPECT_EQ(Ask(CommandCode::Stop), "OK");
  // This tunnel is owned by the test.
  ASSERT_EQ(StartTunnel(true, EngineConfig(NextPort())), "OK");
  Kill(first);
  EXPECT_TRUE(StaysUp());
  EXPECT_EQ(log.Count(kOrphanLine), 0u);
}

TEST_F(OwnerWatch, AStartFromASecondCallerReplacesTheOwner) {
  Child first = StartOwner();
  Child second = StartOwner();
  Kill(first);
  EXPECT_TRUE(StaysUp());
  EXPECT_EQ(log.Count(kOrphanLine), 0u);
  Kill(second);
  EXPECT_TRUE(WaitUntil([] { return !AskStatus().running; }));
  EXPECT_EQ(log.Count(kOrphanLine), 1u);
}

TEST_F(OwnerWatch, OtherCommandsOfAnotherCallerLeaveTheOwnerAsItIs) {
  Child owner = StartOwner();
  // Pings, status requests and refused starts sent by the test itself.
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_TRUE(AskStatus().running);
  EXPECT_EQ(Ask(CommandCode::Start), "ERR:Missing VPN config.");
  EXPECT_TRUE(AskStatus().running);
  Kill(owner);
  EXPECT_TRUE(WaitUntil([] { return !AskStatus().running; }));
  EXPECT_EQ(log.Count(kOrphanLine), 1u);
}

}  // namespace
}  // namespace moorlak::machine
