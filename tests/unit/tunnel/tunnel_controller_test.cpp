#include "tunnel/tunnel_controller.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <memory>

#include "base/data_files.h"
#include "base/paths.h"
#include "config/file_settings.h"
#include "support/log_watch.h"
#include "tunnel/protection.h"
#include "unit/process/child_test_support.h"
#include "unit/proxy/proxy_registry.h"

namespace moorlak {
namespace {

constexpr char kInvalid[] = "Invalid VPN configuration. The server config could not be parsed.";
constexpr char kXrayMissing[] =
    "xray.exe not found. Place it in the xray folder next to moor_lak.exe (with geoip.dat and geosite.dat).";

constexpr char kTun2SocksMissing[] =
    "tun2socks.exe not found. Place it in the xray folder next to moor_lak.exe (with wintun.dll).";
constexpr char kGeoFilesMissing[] = "geoip.dat / geosite.dat missing in the xray folder next to moor_lak.exe.";

class Controller : public testing::Test {
 protected:
  std::string StartError(const std::string& config, bool proxyMode) {
    std::string error;
    const bool accepted = controller->Start(config, proxyMode, error);
    EXPECT_EQ(accepted, error.empty());
    return error;
  }

  std::unique_ptr<TunnelController> controller = std::make_unique<TunnelController>();
};

// With a stand-in engine: the test child under the engine's name, which does what a comment in its configuration says.
class ControllerWithEngine : public Controller {
 protected:
  void SetUp() override {
    DataFolder();
    DeleteFileW(kProxyRestoreFile);
    folder.AddChild(L"xray.exe");
  }
  void TearDown() override { controller->Stop(); }

  static std::string Config(const LifeSign& life) { return "{\"log\":{}/*\n" + life.ActionLines() + "\n*/}"; }

  const ProxyRegistryGuard registry;
  const TestFolder folder;
  const CurrentFolder current{folder.path};
};

TEST_F(ControllerWithEngine, AnOlderStartsNumberStopsNothing) {
  const LifeSign first;
  const LifeSign second;
  EXPECT_EQ(StartError(Config(first), true), "");
  ASSERT_TRUE(first.Started());
  EXPECT_EQ(StartError(Config(second), true), "");
  ASSERT_TRUE(second.Started());
  EXPECT_EQ(controller->startNumber, 2u);
  const LogWatch log;
  EXPECT_FALSE(controller->StopIfCurrent(1, "the first one's owner has gone"));
  EXPECT_TRUE(controller->IsRunning());
  EXPECT_TRUE(controller->IsTunnelUp());
  EXPECT_TRUE(second.Lives());
  EXPECT_EQ(log.Text(), "");
}

TEST_F(ControllerWithEngine, TheCurrentStartsNumberStopsTheTunnelAndReportsWhy) {
  const LifeSign life;
  EXPECT_EQ(StartError(Config(life), true), "");
  ASSERT_TRUE(life.Started());
  const LogWatch log;
  EXPECT_TRUE(controller->StopIfCurrent(controller->startNumber, "its owner has gone"));
  EXPECT_FALSE(controller->IsRunning());
  EXPECT_FALSE(controller->IsTunnelUp());
  EXPECT_TRUE(life.Ends());
  EXPECT_EQ(log.Text(), "its owner has gone\n");
  EXPECT_FALSE(controller->StopIfCurrent(controller->startNumber, "twice"));
  EXPECT_EQ(log.Text(), "its owner has gone\n");
}

TEST_F(ControllerWithEngine, ARefusedStartLeavesTheNumberAsItIs) {
  const LifeSign life;
  EXPECT_EQ(StartError(Config(life), true), "");
  EXPECT_EQ(StartError("no configuration", true), kInvalid);
  EXPECT_EQ(controller->startNumber, 1u);
  // The refused start stopped the tunnel before it checked the text.
  EXPECT_FALSE(controller->IsRunning());
  EXPECT_FALSE(controller->StopIfCurrent(1, "never written"));
}

TEST_F(ControllerWithEngine, AStartThatNamesAFileIsRefusedInEitherModeAndEndsNothing) {
  const LifeSign life;
  EXPECT_EQ(StartError(Config(life), true), "");
  ASSERT_TRUE(life.Started());
  const std::string named = R"({"log":{"access":"C:\\x.log"}})";
  for (const bool proxyMode : {true, false}) {
    EXPECT_EQ(StartError(named, proxyMode), FileSettingText("log.access"));
    EXPECT_TRUE(controller->IsRunning());
    EXPECT_TRUE(controller->IsTunnelUp());
    EXPECT_TRUE(life.Lives());
    EXPECT_EQ(controller->startNumber, 1u);
    EXPECT_EQ(controller->lastConfig, Config(life));
  }
  // A text that is not a configuration gets the same reply as always.
  EXPECT_EQ(StartError("x" + named, true), kInvalid);
}

// The engines were there when the controller was created.
class ControllerWithEngines : public ControllerWithEngine {
 protected:
  void SetUp() override {
    ControllerWithEngine::SetUp();
    folder.AddChild(L"tun2socks.exe");
    controller = std::make_unique<TunnelController>();
    ASSERT_EQ(StartError("{}", false), kGeoFilesMissing);
  }
};

TEST_F(ControllerWithEngines, ReportsWhenXrayHasBeenTakenAway) {
  ASSERT_TRUE(DeleteFileW(folder.File(L"xray.exe").c_str()));
  EXPECT_EQ(StartError("{}", false), kXrayMissing);
}

TEST_F(ControllerWithEngines, ReportsWhenTun2SocksHasBeenTakenAwayUnlessTheEngineNeedsNone) {
  ASSERT_TRUE(DeleteFileW(folder.File(L"tun2socks.exe").c_str()));
  EXPECT_EQ(StartError("{}", false), kTun2SocksMissing);
  EXPECT_EQ(StartError(R"({"moorlakMeta":{"__moorlak_blocked_apps":["C:\\a.exe"]}})", false), kGeoFilesMissing);
}

TEST_F(ControllerWithEngines, FindsThemWhereTheyHaveMovedAndWhenTheyAreBack) {
  ASSERT_TRUE(CreateDirectoryW(folder.File(L"xray").c_str(), nullptr));
  ASSERT_TRUE(MoveFileW(folder.File(L"xray.exe").c_str(), folder.File(L"xray\\xray.exe").c_str()));
  EXPECT_EQ(StartError("{}", false), kGeoFilesMissing);
  EXPECT_EQ(controller->vpnEngine.engines.xray, folder.NarrowFile(L"xray\\xray.exe"));
  ASSERT_TRUE(MoveFileW(folder.File(L"xray\\xray.exe").c_str(), folder.File(L"hidden").c_str()));
  EXPECT_EQ(StartError("{}", false), kXrayMissing);
  ASSERT_TRUE(MoveFileW(folder.File(L"hidden").c_str(), folder.File(L"xray.exe").c_str()));
  EXPECT_EQ(StartError("{}", false), kGeoFilesMissing);
  ASSERT_TRUE(RemoveDirectoryW(folder.File(L"xray").c_str()));
}

TEST_F(ControllerWithEngines, AStopDropsTheSession) {
  ASSERT_TRUE(controller->vpnEngine.session);
  controller->Stop();
  EXPECT_FALSE(controller->vpnEngine.session);
}

TEST_F(ControllerWithEngines, AStopKeepsASessionWhoseStagedFileCannotBeRemovedForTheNextStop) {
  std::wstring& staged = controller->vpnEngine.session->staged.path;
  staged = folder.path;
  controller->Stop();
  ASSERT_TRUE(controller->vpnEngine.session);
  EXPECT_EQ(staged, folder.path);
  folder.Write(L"staged.json", "{}");
  staged = folder.File(L"staged.json");
  controller->Stop();
  EXPECT_FALSE(controller->vpnEngine.session);
  EXPECT_EQ(GetFileAttributesW(folder.File(L"staged.json").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(ControllerWithEngines, AreReportedOnceOnStandardErrorWhenTheVpnEngineIsMade) {
  const StandardErrorCapture standardError;
  VpnService made(std::make_shared<Protection>());
  const std::string xray = folder.NarrowFile(L"xray.exe");
  const std::string tun2socks = folder.NarrowFile(L"tun2socks.exe");
  EXPECT_EQ(standardError.Text(), "VpnService: using xray at " + xray + "\nVpnService: using tun2socks at " +
                                      tun2socks + "\nVpnService: Found Xray executable at: " + xray +
                                      "\nVpnService: Found Tun2Socks executable at: " + tun2socks + "\n");
  EXPECT_EQ(made.Start("{}", controller->closing), kGeoFilesMissing);
  EXPECT_EQ(standardError.Text().find("Found Xray", standardError.Text().find("Found Tun2Socks")), std::string::npos);
}

TEST_F(Controller, RefusesTextThatDoesNotBeginLikeJson) {
  for (const char* text : {"", " \t\r\n", "x{}", "vless://", "\xef\xbb\xbf{}", "\v{}"}) {
    EXPECT_EQ(StartError(text, true), kInvalid) << text;
    EXPECT_EQ(StartError(text, false), kInvalid) << text;
  }
  EXPECT_FALSE(controller->IsRunning());
  EXPECT_EQ(controller->startNumber, 0u);
}

TEST_F(Controller, AcceptsLeadingWhiteSpaceAndKeepsTheTextUnchanged) {
  StartError(" \r\n\t{}", false);
  EXPECT_EQ(controller->lastConfig, " \r\n\t{}");
}

TEST_F(Controller, LetsAConfigurationThatBeginsWithABracketPassItsCheck) {
  EXPECT_EQ(StartError("[]", false), kXrayMissing);
}

TEST_F(Controller, RepliesToAVpnStartWithoutAnEngine) {
  EXPECT_EQ(StartError("{}", false), kXrayMissing);
  EXPECT_FALSE(controller->IsRunning());
  EXPECT_FALSE(controller->proxyMode);
}

TEST_F(Controller, ReportsWhenProxyModeCannotStart) {
  EXPECT_EQ(StartError("{]", true),
            "Could not start proxy mode. Ensure xray.exe is in the xray folder next to moor_lak.exe.");
  EXPECT_FALSE(controller->IsRunning());
  EXPECT_TRUE(controller->proxyMode);
}

TEST_F(Controller, RefusesEveryStartOnceItIsClosing) {
  controller->BeginClosing();
  EXPECT_EQ(StartError("{}", true), "Proxy service is unavailable.");
  EXPECT_EQ(StartError("{}", false), "VPN service is unavailable.");
}

TEST_F(Controller, IsIdleAtFirstAndStopsSafely) {
  controller->Stop();
  controller->Shutdown();
  EXPECT_EQ(controller->GetTraffic(), EngineCounters{});
  EXPECT_FALSE(controller->IsTunnelUp());
  EXPECT_FALSE(controller->StopIfCurrent(0, "never written"));
}

}  // namespace
}  // namespace moorlak
