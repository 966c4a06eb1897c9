// A killed service: what the system does at once, and what the service's next start repairs.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

#include "base/paths.h"
#include "machine/support/console.h"
#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "unit/base/foreign_owner.h"

namespace moorlak::machine {
namespace {

constexpr DWORD kProxyFlag = 2;

struct ProxyRecovery : ProxyTest {
  // A session over settings of the user, whose service was then killed.
  void KillWhileUp() {
    WriteProxyOptions(users);
    usersDump = DumpSystemProxy();
    StartTunnelService();
    StartProxy();
    KillTunnelService();
    killedDump = DumpSystemProxy();
    ASSERT_TRUE(RecoveryFileExists());
    ASSERT_NE(killedDump, usersDump);
  }

  const ProxyOptions users{kProxyFlag, "proxy.example:3128", {}, {}};
  std::string usersDump;
  std::string killedDump;
};

void WriteRecoveryFile(std::string_view text) {
  std::ofstream(std::filesystem::path(kProxyRestoreFile), std::ios::binary) << text;
}

TEST_F(ProxyRecovery, AKilledServiceTakesItsEngineWithIt) {
  StartTunnelService();
  StartProxy();
  const EngineProcess engine = WaitForEngine(ServiceProcessId());
  const auto killed = std::chrono::steady_clock::now();
  KillTunnelService();
  EXPECT_TRUE(WaitForEnd(engine));
  const auto passed = std::chrono::steady_clock::now() - killed;
  std::printf("the engine ended %lld ms after the service was killed\n",
              static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count()));
  EXPECT_TRUE(WaitForNoEngine());
}

TEST_F(ProxyRecovery, TheNextStartPutsTheProxyBackBeforeThePipeOpensAndDeletesTheFile) {
  KillWhileUp();
  std::thread start(LaunchTunnelService);
  const KernelHandle pipe = ConnectPipe();
  const std::string atTheFirstConnection = DumpSystemProxy();
  const bool fileAtTheFirstConnection = RecoveryFileExists();
  start.join();
  ASSERT_TRUE(pipe);
  EXPECT_EQ(atTheFirstConnection, usersDump);
  EXPECT_FALSE(fileAtTheFirstConnection);
}

TEST_F(ProxyRecovery, AStartOfTheConsoleModePutsTheProxyBackToo) {
  KillWhileUp();
  const Console console = StartConsole();
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_EQ(DumpSystemProxy(), usersDump);
  EXPECT_FALSE(RecoveryFileExists());
}

TEST_F(ProxyRecovery, ASecondKillBeforeTheRecoveryLosesNothing) {
  KillWhileUp();
  StartTunnelService();
  port = NextPort();
  StartProxy();
  KillTunnelService();
  StartTunnelService();
  EXPECT_EQ(DumpSystemProxy(), usersDump);
}

// The recovery file of each test is a real one before the test damages it: without the damage the service would believe
// it.
struct ProxyRecoveryFile : ProxyRecovery {
  ProxyRecoveryFile() {
    KillWhileUp();
    sound = ReadText(kProxyRestoreFile);
  }
  // Starts the service with the file and expects the settings to stay as the killed service left them.
  void ExpectNotBelieved() const {
    StartTunnelService();
    EXPECT_EQ(DumpSystemProxy(), killedDump);
  }

  std::string sound;
};

TEST_F(ProxyRecoveryFile, WrittenAnewByATrustedUserIsBelieved) {
  WriteRecoveryFile(sound);
  StartTunnelService();
  EXPECT_EQ(DumpSystemProxy(), usersDump);
}

TEST_F(ProxyRecoveryFile, OfAnotherVersionIsNotBelieved) {
  ASSERT_TRUE(sound.starts_with("v1\n"));
  WriteRecoveryFile("v2" + sound.substr(2));
  ExpectNotBelieved();
}

TEST_F(ProxyRecoveryFile, ThatIsCutShortIsNotBelieved) {
  WriteRecoveryFile(sound.substr(0, sound.size() - 1));
  ExpectNotBelieved();
}

TEST_F(ProxyRecoveryFile, WithSomethingAfterItsLastLineIsNotBelieved) {
  WriteRecoveryFile(sound + "=\n");
  ExpectNotBelieved();
}

TEST_F(ProxyRecoveryFile, ThatIsEmptyIsNotBelieved) {
  WriteRecoveryFile("");
  ExpectNotBelieved();
}

// Every user can create files in the data folder. Wine reports an unknown Linux user as "anonymous logon", which the
// service does not trust.
TEST_F(ProxyRecoveryFile, OfAnUntrustedUserIsNotBelieved) {
  ASSERT_TRUE(SetForeignOwner(kProxyRestoreFile));
  ExpectNotBelieved();
}

TEST_F(ProxyRecoveryFile, ThatIsNotBelievedHindersNoSessionAndIsReplaced) {
  WriteRecoveryFile("v1\nnonsense\n");
  StartTunnelService();
  WriteProxyOptions(users);
  port = NextPort();
  StartProxy();
  StopProxy();
  EXPECT_EQ(DumpSystemProxy(), usersDump);
  EXPECT_FALSE(RecoveryFileExists());
}

}  // namespace
}  // namespace moorlak::machine
