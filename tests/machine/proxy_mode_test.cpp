// Proxy mode end to end: the shipped service, the real engine, real traffic.
#include <gtest/gtest.h>

#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr int64_t kFiveMiB = 5 << 20;
constexpr char kFiveMiBPath[] = "/bytes/5242880";
// Counters may exceed the traffic by headers and by what SOCKS adds, but not by more.
constexpr double kTolerance = 0.01;

// WinINet's PROXY_TYPE_PROXY.
constexpr DWORD kProxyFlag = 2;

using ProxyMode = ProxyTest;

bool IsWithinTolerance(int64_t counted, int64_t sent) {
  const double difference = static_cast<double>(counted) - static_cast<double>(sent);
  return difference >= -kTolerance * static_cast<double>(sent) && difference <= kTolerance * static_cast<double>(sent);
}

// The counters are updated once a second; they never decrease.
StatusReply WaitForCounters(int64_t up, int64_t down) {
  StatusReply status;
  WaitUntil([&] {
    status = AskStatus();
    return IsWithinTolerance(status.upBytes, up) && IsWithinTolerance(status.downBytes, down);
  });
  return status;
}

TEST_F(ProxyMode, IsRunningAndUpFromTheAcceptedStartToTheStop) {
  StartTunnelService();
  ASSERT_EQ(StartTunnel(true, EngineConfig(port)), "OK");
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=1 tunnel=1 up=0 down=0");
  ASSERT_TRUE(WaitForListener(port));
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=1 tunnel=1 up=0 down=0");
  StopProxy();
  const StatusReply stopped = AskStatus();
  EXPECT_FALSE(stopped.running);
  EXPECT_FALSE(stopped.tunnelUp);
  EXPECT_TRUE(WaitForNoEngine());
}

TEST_F(ProxyMode, CarriesAPageAndFiveMebibytesEachWayAndCountsThemWithinOnePercent) {
  const WebServer web;
  const auto directPage = Fetch(web.Url("/"));
  const auto directBytes = Fetch(web.Url(kFiveMiBPath));
  StartTunnelService();
  StartProxy();

  const auto page = Fetch(web.Url("/"), port);
  ASSERT_TRUE(page && directPage);
  EXPECT_EQ(page->status, 200);
  EXPECT_EQ(page->sha256, directPage->sha256);

  const auto bytes = Fetch(web.Url(kFiveMiBPath), port);
  ASSERT_TRUE(bytes && directBytes);
  EXPECT_EQ(bytes->bytes, kFiveMiB);
  EXPECT_EQ(bytes->sha256, directBytes->sha256);

  const auto posted = Post(web.Url("/sink"), kFiveMiB, port);
  ASSERT_TRUE(posted);
  EXPECT_EQ(posted->bytes, kFiveMiB);

  const StatusReply status = WaitForCounters(kFiveMiB, kFiveMiB + page->bytes);
  EXPECT_TRUE(IsWithinTolerance(status.upBytes, kFiveMiB)) << status.upBytes;
  EXPECT_TRUE(IsWithinTolerance(status.downBytes, kFiveMiB + page->bytes)) << status.downBytes;
  std::printf("counted %lld bytes up, %lld bytes down\n", static_cast<long long>(status.upBytes),
              static_cast<long long>(status.downBytes));
}

TEST_F(ProxyMode, PointsTheSystemProxyAtTheSocksPortAndPutsItBackAtTheStop) {
  StartTunnelService();
  StartProxy();
  // The tests with the stand-in cover flags and exceptions: Wine does not keep them.
  const ProxyOptions ours = ReadProxyOptions();
  EXPECT_EQ(ours.server, "socks=localhost:" + std::to_string(port));
  EXPECT_TRUE(ours.flags & kProxyFlag);
  EXPECT_TRUE(RecoveryFileExists());
  EXPECT_NE(DumpSystemProxy(), before);
  StopProxy();
  EXPECT_EQ(DumpSystemProxy(), before);
  EXPECT_FALSE(RecoveryFileExists());
}

TEST_F(ProxyMode, IsStoppedAndPutBackByTheEndOfTheService) {
  StartTunnelService();
  StartProxy();
  const EngineProcess engine = WaitForEngine(ServiceProcessId());
  StopTunnelService();
  EXPECT_TRUE(WaitForEnd(engine));
  EXPECT_EQ(DumpSystemProxy(), before);
  EXPECT_FALSE(RecoveryFileExists());
  EXPECT_TRUE(StagedFiles().empty());
}

TEST_F(ProxyMode, AStartWhileRunningReplacesTheSession) {
  StartTunnelService();
  StartProxy();
  const DWORD service = ServiceProcessId();
  const EngineProcess first = WaitForEngine(service);
  const std::vector<std::wstring> firstFiles = StagedFiles();

  port = NextPort();
  StartProxy();
  EXPECT_TRUE(WaitForEnd(first));
  const EngineProcess second = WaitForEngine(service, first.id);
  EXPECT_EQ(StagedFiles().size(), 1u);
  EXPECT_NE(StagedFiles(), firstFiles);
  const StatusReply status = AskStatus();
  EXPECT_TRUE(status.running);
  EXPECT_TRUE(status.tunnelUp);

  const WebServer web;
  EXPECT_TRUE(Fetch(web.Url("/"), port));
  StopProxy();
  EXPECT_TRUE(WaitForEnd(second));
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(ProxyMode, AConfigurationWithoutARecognisableSocksInboundUses10807ForTheSystemProxy) {
  StartTunnelService();
  ASSERT_EQ(StartTunnel(true, R"({"outbounds":[{"protocol":"freedom"}]})"), "OK");
  EXPECT_TRUE(WaitForSystemProxy(OurServer(10807)));
  StopProxy();
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(ProxyMode, FindsTheSocksInboundByItsProtocolWhereNoneIsTaggedInProxy) {
  const std::string http = std::to_string(NextPort());
  StartTunnelService();
  StartProxy(R"({"inbounds":[{"listen":"127.0.0.1","port":)" + http + R"(,"protocol":"http"},)" +
             R"({"protocol":"socks","listen":"127.0.0.1","port":)" + std::to_string(port) +
             R"(}],"outbounds":[{"protocol":"freedom"}]})");
  EXPECT_EQ(ReadProxyOptions().server, OurServer(port));
}

TEST_F(ProxyMode, AStopWithoutASessionGetsAReplyAndChangesNothing) {
  StartTunnelService();
  StopProxy();
  StopProxy();
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=0 tunnel=0 up=0 down=0");
  EXPECT_EQ(DumpSystemProxy(), before);
}

}  // namespace
}  // namespace moorlak::machine
