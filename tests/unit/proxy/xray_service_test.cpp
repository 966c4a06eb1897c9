// The session with a stand-in engine: the test child under the engine's name, which does what the lines of its
// configuration say. The lines are in a comment, so that the text is also a valid configuration.
#include "proxy/xray_service.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>

#include "base/data_files.h"
#include "base/durable_file.h"
#include "base/paths.h"
#include "proxy/system_proxy.h"
#include "support/wait.h"
#include "unit/base/flat_folder.h"
#include "unit/base/held_file.h"
#include "unit/config/held_port.h"
#include "unit/process/child_test_support.h"
#include "unit/proxy/proxy_registry.h"

namespace moorlak {
namespace {

std::filesystem::path StagingFolderPath() {
  return std::filesystem::temp_directory_path() / "flutter_vless";
}

std::string Config(const std::string& actions, const std::string& members = R"("log":{})") {
  return "{" + members + "/*\n" + actions + "\n*/}";
}

size_t StagedFileCount() {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(StagingFolderPath())) {
    count += entry.path().extension() == ".json";
  }
  return count;
}

struct XrayServiceTest : testing::Test {
  void SetUp() override {
    DataFolder();
    DeleteFileW(kProxyRestoreFile);
    RemoveFlatFolder(StagingFolderPath().wstring());
    before = ReadInternetSettings();
  }
  void TearDown() override {
    service.Stop();
    RemoveFlatFolder(StagingFolderPath().wstring());
    EXPECT_EQ(ReadInternetSettings(), before);
  }

  bool Ended() const {
    return WaitUntil([this] { return !service.IsRunning(); });
  }
  bool ProxyIsSet(uint16_t port) const {
    const std::string wanted = "socks=localhost:" + std::to_string(port);
    return WaitUntil([&wanted] { return ReadSystemProxy()->server == wanted; });
  }

  ProxyRegistryGuard registry;
  RegistryValues before;
  TestFolder folder;
  CurrentFolder current{folder.path};
  StandardErrorCapture standardError;
  XrayService service;
};

struct XrayServiceWithEngine : XrayServiceTest {
  void SetUp() override {
    XrayServiceTest::SetUp();
    folder.AddChild(L"xray.exe");
  }
};

TEST_F(XrayServiceTest, StopIsSafeWhenNothingRuns) {
  service.Stop();
  service.Stop();
  EXPECT_FALSE(service.IsRunning());
}

TEST_F(XrayServiceWithEngine, AnUnbalancedTextIsRefused) {
  EXPECT_FALSE(service.Start("{\"a\":1"));
  EXPECT_FALSE(service.IsRunning());
  EXPECT_TRUE(standardError.Shows("Invalid Xray configuration JSON\n"));
}

TEST_F(XrayServiceTest, WithoutAnEngineTheStartIsRefused) {
  EXPECT_FALSE(service.Start("{}"));
  EXPECT_FALSE(service.IsRunning());
  EXPECT_TRUE(standardError.Shows("Xray executable not found. Please ensure xray.exe is available.\n"));
}

TEST_F(XrayServiceTest, AnEngineThatIsPutThereLaterIsFoundByTheNextStart) {
  EXPECT_FALSE(service.Start("{}"));
  folder.AddChild(L"xray.exe");
  EXPECT_TRUE(service.Start(Config("sleep")));
  EXPECT_TRUE(service.IsRunning());
}

TEST_F(XrayServiceWithEngine, ARunningEngineGetsTheSystemProxyAndAStopTakesItBack) {
  const LifeSign life;
  ASSERT_TRUE(service.Start(Config(life.ActionLines(), R"("inbounds":[{"tag":"in_proxy","port":12345}])")));
  ASSERT_TRUE(life.Started());
  EXPECT_TRUE(ProxyIsSet(12345));
  EXPECT_TRUE(standardError.Shows("System proxy set to localhost:12345\n"));
  EXPECT_TRUE(standardError.Shows("Detected Xray API address: 127.0.0.1:"));
  EXPECT_EQ(StagedFileCount(), 1u);
  EXPECT_TRUE(service.IsRunning());

  service.Stop();
  EXPECT_FALSE(service.IsRunning());
  EXPECT_TRUE(life.Ends());
  EXPECT_EQ(ReadInternetSettings(), before);
  EXPECT_EQ(StagedFileCount(), 0u);
  EXPECT_EQ(standardError.Text().find("terminated unexpectedly"), std::string::npos);
}

TEST_F(XrayServiceWithEngine, AConfigurationWithoutASocksInboundUses10807) {
  ASSERT_TRUE(service.Start(Config("sleep")));
  EXPECT_TRUE(ProxyIsSet(10807));
}

TEST_F(XrayServiceWithEngine, AnEngineThatDiesIsReportedAndTheProxyComesBack) {
  const LifeSign end;
  ASSERT_TRUE(service.Start(Config("wait=" + end.readyName)));
  ASSERT_TRUE(ProxyIsSet(10807));
  SetEvent(end.ready.Get());
  EXPECT_TRUE(Ended());
  EXPECT_TRUE(standardError.Shows("Xray process terminated unexpectedly\n"));
  EXPECT_TRUE(WaitUntil([this] { return ReadInternetSettings() == before; }));
  EXPECT_TRUE(WaitUntil([] { return StagedFileCount() == 0; }));
}

TEST_F(XrayServiceWithEngine, AStartAfterTheEngineDiedBeginsANewSession) {
  ASSERT_TRUE(service.Start(Config("exit=23")));
  EXPECT_TRUE(Ended());
  const LifeSign life;
  ASSERT_TRUE(service.Start(Config(life.ActionLines())));
  EXPECT_TRUE(life.Started());
  EXPECT_TRUE(ProxyIsSet(10807));
  EXPECT_TRUE(service.IsRunning());
}

TEST_F(XrayServiceWithEngine, NobodyIsSentToThePortOfAnEngineThatRefusedItsConfiguration) {
  ASSERT_TRUE(service.Start(Config("exit=23")));
  EXPECT_TRUE(Ended());
  service.Stop();
  EXPECT_TRUE(standardError.Shows("Xray process terminated unexpectedly\n"));
  EXPECT_EQ(standardError.Text().find("System proxy set"), std::string::npos);
}

TEST_F(XrayServiceWithEngine, AStartWhileRunningReplacesTheSession) {
  const LifeSign first;
  ASSERT_TRUE(service.Start(Config(first.ActionLines(), R"("inbounds":[{"tag":"in_proxy","port":11111}])")));
  ASSERT_TRUE(first.Started());
  ASSERT_TRUE(ProxyIsSet(11111));
  const LifeSign second;
  ASSERT_TRUE(service.Start(Config(second.ActionLines(), R"("inbounds":[{"tag":"in_proxy","port":22222}])")));
  EXPECT_TRUE(first.Ends());
  ASSERT_TRUE(second.Started());
  EXPECT_TRUE(ProxyIsSet(22222));
  EXPECT_EQ(StagedFileCount(), 1u);
}

TEST_F(XrayServiceWithEngine, AStopRightAfterTheStartLeavesNothingBehind) {
  for (int round = 0; round < 5; ++round) {
    ASSERT_TRUE(service.Start(Config("sleep")));
    service.Stop();
    EXPECT_FALSE(service.IsRunning());
    EXPECT_EQ(ReadInternetSettings(), before);
    EXPECT_FALSE(TakeEngine(service.xray));
  }
}

TEST_F(XrayServiceWithEngine, TheCountersBeginAtZeroWithEachStart) {
  {
    const MutexGuard guard(service.traffic.lock);
    service.traffic.totals = {5, 6};
  }
  ASSERT_TRUE(service.Start(Config("sleep")));
  EXPECT_EQ(TotalsOf(service.traffic), EngineCounters{});
}

TEST_F(XrayServiceWithEngine, ABusyApiPortGivesWayToAFreeOneOnlyWhereTheSectionIsOurs) {
  const HeldPort held(10085);
  ASSERT_EQ(held.port, 10085);
  ASSERT_TRUE(service.Start(Config("sleep")));
  ASSERT_TRUE(ProxyIsSet(10807));
  service.Stop();
  EXPECT_TRUE(standardError.Shows("Detected Xray API address: 127.0.0.1:"));
  EXPECT_EQ(standardError.Text().find("Detected Xray API address: 127.0.0.1:10085\n"), std::string::npos);

  ASSERT_TRUE(service.Start(Config("sleep", R"("api":{"tag":"api","listen":"127.0.0.1:10085"})")));
  ASSERT_TRUE(ProxyIsSet(10807));
  EXPECT_TRUE(standardError.Shows("Detected Xray API address: 127.0.0.1:10085\n"));
}

TEST_F(XrayServiceWithEngine, AnUnsafeApiAddressEndsNoSession) {
  ASSERT_TRUE(service.Start(Config("sleep", R"("api":{"listen":"-pattern:1"})")));
  EXPECT_TRUE(ProxyIsSet(10807));
  EXPECT_TRUE(WaitUntil([this] {
    return standardError.Shows("Warning: Failed to initialize Xray API client. Stats may not be available.\n");
  }));
  EXPECT_TRUE(service.IsRunning());
}

TEST_F(XrayServiceTest, AnEngineThatCannotBeStartedEndsTheSession) {
  folder.Write(L"xray.exe", "no program");
  ASSERT_TRUE(service.Start("{}"));
  EXPECT_TRUE(Ended());
  EXPECT_TRUE(standardError.Shows("Failed to start Xray process. Error: "));
  EXPECT_TRUE(standardError.Shows("Failed to start Xray process\n"));
}

TEST_F(XrayServiceWithEngine, AStagingFolderThatCannotBeHadEndsTheSession) {
  WriteFileDurably(StagingFolderPath().wstring(), "a file");
  const HeldFile held(StagingFolderPath().wstring());
  ASSERT_TRUE(service.Start(Config("sleep")));
  EXPECT_TRUE(Ended());
  EXPECT_TRUE(standardError.Shows("Failed to write Xray configuration file\n"));
}

TEST_F(XrayServiceWithEngine, OlderStagedFilesAreRemovedAtTheStart) {
  std::filesystem::create_directories(StagingFolderPath());
  WriteFileDurably((StagingFolderPath() / "xray_config_1_1.json").wstring(), "old");
  WriteFileDurably((StagingFolderPath() / "other.json").wstring(), "kept");
  ASSERT_TRUE(service.Start(Config("sleep")));
  ASSERT_TRUE(ProxyIsSet(10807));
  EXPECT_FALSE(std::filesystem::exists(StagingFolderPath() / "xray_config_1_1.json"));
  EXPECT_TRUE(std::filesystem::exists(StagingFolderPath() / "other.json"));
}

}  // namespace
}  // namespace moorlak
