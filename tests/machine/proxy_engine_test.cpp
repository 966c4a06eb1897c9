// The engine of proxy mode: its possible misbehaviour, and its statistics API.
#include <cstdio>
#include <gtest/gtest.h>

#include "machine/support/console.h"
#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr char kNoProxy[] =
    "ERR:Could not start proxy mode. Ensure xray.exe is in the xray folder next to moor_lak.exe.";
constexpr uint16_t kDefaultApiPort = 10085;
constexpr int64_t kMebibyte = 1 << 20;

using ProxyEngine = ProxyTest;

// Waits until the service has noticed that the engine is dead.
bool WaitForTunnelDown() {
  return WaitUntil([] { return !AskStatus().tunnelUp; });
}

// Waits until the console has printed the text.
bool WaitForOutput(const Console& console, std::string_view text) {
  return WaitUntil([&] { return Output(console.program).find(text) != std::string::npos; });
}

// Downloads a mebibyte through the engine and waits until the counters include it.
void ExpectCountedTraffic(uint16_t port) {
  const WebServer web;
  ASSERT_TRUE(Fetch(web.Url("/bytes/1048576"), port));
  EXPECT_TRUE(WaitUntil([] { return AskStatus().downBytes >= kMebibyte; }));
  EXPECT_LE(AskStatus().downBytes, kMebibyte + kMebibyte / 100);
  EXPECT_GT(AskStatus().upBytes, 0);
}

TEST_F(ProxyEngine, KilledWhileRunningIsReportedAndClearsTunnelButNotRunningAndTheProxyComesBack) {
  const Console console = StartConsole();
  StartProxy();
  const EngineProcess engine = WaitForEngine(console.program.processId);
  KillEngine(engine);
  const ULONGLONG killed = GetTickCount64();
  EXPECT_TRUE(WaitForTunnelDown());
  // The engine monitor checks every 500 ms. The time is printed but not asserted, because a loaded machine needs
  // longer.
  std::printf("tunnel=0 came %llu ms after the engine was killed\n", GetTickCount64() - killed);
  EXPECT_TRUE(AskStatus().running);
  EXPECT_TRUE(WaitForOutput(console, "Xray process terminated unexpectedly\n"));
  EXPECT_TRUE(WaitForDump(before));
  EXPECT_TRUE(WaitUntil([] { return !RecoveryFileExists() && StagedFiles().empty(); }));
  StopProxy();
  EXPECT_FALSE(AskStatus().running);
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(ProxyEngine, AStopThatEndsItIsNotTakenForItsDeath) {
  const Console console = StartConsole();
  StartProxy();
  EXPECT_TRUE(WaitForOutput(console, "System proxy set to localhost:" + std::to_string(port) + "\n"));
  StopProxy();
  EXPECT_EQ(Output(console.program).find("terminated unexpectedly"), std::string::npos);
}

TEST_F(ProxyEngine, DeadByItselfCanBeReplacedByANewStart) {
  StartTunnelService();
  {
    const EngineFaults faults(R"("dieAfterMs": 300)");
    ASSERT_EQ(StartTunnel(true, EngineConfig(port)), "OK");
    EXPECT_TRUE(WaitForTunnelDown());
  }
  port = NextPort();
  StartProxy();
  EXPECT_TRUE(AskStatus().tunnelUp);
  StopProxy();
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(ProxyEngine, ThatRefusesItsConfigurationGetsNoSystemProxy) {
  const Console console = StartConsole();
  ASSERT_EQ(StartTunnel(true, R"({"inbounds":"none"})"), "OK");
  EXPECT_TRUE(WaitForTunnelDown());
  EXPECT_TRUE(WaitForOutput(console, "Xray process terminated unexpectedly\n"));
  EXPECT_EQ(Output(console.program).find("System proxy set"), std::string::npos);
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(ProxyEngine, ThatPrintsMegabytesDisturbsNeitherTrafficNorStatusNorStop) {
  constexpr size_t kNoise = 2 << 20;
  const EngineFaults faults("\"printBytes\": " + std::to_string(kNoise));
  const Console console = StartConsole();
  StartProxy();
  const WebServer web;
  EXPECT_TRUE(Fetch(web.Url("/"), port));
  EXPECT_TRUE(AskStatus().tunnelUp);
  StopProxy();
  EXPECT_EQ(DumpSystemProxy(), before);
  // Both streams arrive completely, each chunk after its tag.
  const std::string output = Output(console.program);
  EXPECT_GT(output.size(), 2 * kNoise);
  EXPECT_NE(output.find("[Xray stdout] "), std::string::npos);
  EXPECT_NE(output.find("[Xray stderr] "), std::string::npos);
}

TEST_F(ProxyEngine, ThatHangsWithoutListeningDisturbsNeitherStatusNorStop) {
  const EngineFaults faults(R"("hang": true)");
  StartTunnelService();
  ASSERT_EQ(StartTunnel(true, EngineConfig(port)), "OK");
  const EngineProcess engine = WaitForEngine(ServiceProcessId());
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=1 tunnel=1 up=0 down=0");
  // The hanging engine is alive, so the system proxy is set and must be restored.
  EXPECT_TRUE(WaitForSystemProxy(OurServer(port)));
  StopProxy();
  EXPECT_TRUE(WaitForEnd(engine));
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(ProxyEngine, WhoseApiHangsDisturbsNeitherTrafficNorStatusNorStop) {
  const EngineFaults faults(R"("apiHang": true)");
  StartTunnelService();
  StartProxy();
  const WebServer web;
  EXPECT_TRUE(Fetch(web.Url("/"), port));
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=1 tunnel=1 up=0 down=0");
  StopProxy();
  EXPECT_TRUE(WaitForNoEngine());
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(ProxyEngine, ThatAnswers300KiBOfCountersIsCounted) {
  const EngineFaults faults(R"("apiPrintBytes": 307200)");
  StartTunnelService();
  StartProxy();
  ExpectCountedTraffic(port);
}

TEST_F(ProxyEngine, ThatAnswersQuotedNumbersIsCounted) {
  const EngineFaults faults(R"("apiQuotedNumbers": true)");
  StartTunnelService();
  StartProxy();
  ExpectCountedTraffic(port);
}

TEST_F(ProxyEngine, GetsAnotherApiPortWhere10085IsBusyAndIsStillCounted) {
  const PortHolder busy(kDefaultApiPort);
  const Console console = StartConsole();
  StartProxy();
  EXPECT_TRUE(WaitForOutput(console, "Detected Xray API address: 127.0.0.1:"));
  EXPECT_EQ(Output(console.program).find("127.0.0.1:10085"), std::string::npos);
  EXPECT_EQ(ReadStagedText().find("127.0.0.1:10085"), std::string::npos);
  ExpectCountedTraffic(port);
}

TEST_F(ProxyEngine, IsAskedWhereItsOwnApiSectionListensUnderItsOwnTag) {
  const std::string address = "127.0.0.1:" + std::to_string(NextPort());
  const std::string api = R"("api":{"tag":"counters","listen":")" + address + R"(","services":["StatsService"]},)";
  const Console console = StartConsole();
  StartProxy(EngineConfig(port, api));
  EXPECT_TRUE(WaitForOutput(console, "Detected Xray API address: " + address + "\n"));
  const std::string staged = ReadStagedText();
  EXPECT_NE(staged.find(api), std::string::npos);
  EXPECT_EQ(staged.find("\"api\":"), staged.rfind("\"api\":"));
  ExpectCountedTraffic(port);
}

TEST_F(ProxyEngine, MissingIsReportedByTheTextThatNamesItsFolderUntilItIsPutThere) {
  const std::wstring place = InstallFolder() + L"\\xray\\xray.exe";
  const std::wstring away = InstallFolder() + L"\\xray\\away.exe";
  Console console = StartConsole();
  ASSERT_EQ(Ask(CommandCode::Ping), "OK");
  ASSERT_TRUE(MoveFileW(place.c_str(), away.c_str()));
  EXPECT_EQ(StartTunnel(true, EngineConfig(port)), kNoProxy);
  EXPECT_FALSE(AskStatus().running);
  EXPECT_TRUE(MoveFileW(away.c_str(), place.c_str()));
  EXPECT_TRUE(WaitForOutput(console, "Xray executable not found. Please ensure xray.exe is available.\n"));
  StartProxy();
  EXPECT_TRUE(AskStatus().tunnelUp);
}

struct ProxyStartText : ProxyTest {
  const Console console = StartConsole();
};

TEST_F(ProxyStartText, WithABraceInsideAStringIsAccepted) {
  EXPECT_EQ(StartTunnel(true, R"({"a":"}"})"), "OK");
}

TEST_F(ProxyStartText, ThatClosesAnotherBracketThanItOpensIsRefused) {
  EXPECT_EQ(StartTunnel(true, "{]"), kNoProxy);
  EXPECT_TRUE(WaitForOutput(console, "Invalid Xray configuration JSON\n"));
  EXPECT_TRUE(WaitForOutput(console, std::string(kNoProxy + sizeof("ERR")) + "\n"));
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=0 tunnel=0 up=0 down=0");
}

TEST_F(ProxyStartText, ThatClosesWhatItNeverOpenedIsRefused) {
  EXPECT_EQ(StartTunnel(true, "{}}{"), kNoProxy);
  EXPECT_TRUE(WaitForOutput(console, "Invalid Xray configuration JSON\n"));
}

TEST_F(ProxyStartText, ThatLacksItsLastBraceIsRefused) {
  EXPECT_EQ(StartTunnel(true, R"({"a":1)"), kNoProxy);
  EXPECT_TRUE(WaitForOutput(console, "Invalid Xray configuration JSON\n"));
}

TEST_F(ProxyStartText, ThatEndsInsideAStringIsRefused) {
  EXPECT_EQ(StartTunnel(true, R"({}"a)"), kNoProxy);
  EXPECT_TRUE(WaitForOutput(console, "Invalid Xray configuration JSON\n"));
}

}  // namespace
}  // namespace moorlak::machine
