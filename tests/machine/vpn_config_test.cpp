// What a VPN start makes of realistic configurations, checked with the real engine.
#include <algorithm>
#include <gtest/gtest.h>
#include <map>

#include "base/utf.h"
#include "config/config_staging.h"
#include "config/inbound_ports.h"
#include "fixtures/config_fixtures.h"
#include "fixtures/start_rewrite.h"
#include "machine/support/child.h"
#include "machine/support/engine.h"
#include "machine/support/service_control.h"
#include "process/config_validation.h"
#include "process/engine_counters.h"
#include "process/engine_process.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

// The engines run with whatever rights the test can get.
EngineAccount account;

constexpr int64_t kMebibyte = 1 << 20;

// Configurations that the tests' engine does not support, with a word from its error message.
const std::map<std::string, std::string> kUnknownToTheEngine{
    {"hysteria", "hysteria"},
    {"vless_grpc_geo", "geosite"},
    {"vless_reality", "quic"},
    {"wireguard", "wireguard"},
};

std::string EnginePath() {
  return NarrowUtf16(InstallFolder() + L"\\xray\\xray.exe");
}

std::string RunEngine(const std::string& arguments, DWORD& exitCode) {
  return RunProgram(WidenUtf8("\"" + EnginePath() + "\" " + arguments), exitCode);
}

// A staged text, removed at the end of the test.
struct Staged {
  explicit Staged(const std::string& text) { EXPECT_TRUE(WriteStagedConfig(text, config)) << GetLastError(); }
  Staged(const Staged&) = delete;
  Staged& operator=(const Staged&) = delete;
  ~Staged() { RemoveStagedConfig(config); }
  std::string Path() const { return NarrowUtf16(config.path); }

  StagedConfig config;
};

bool EngineAccepts(const std::string& text) {
  const Staged staged(text);
  return ValidateXrayConfig(EnginePath(), staged.Path(), account);
}

std::string WhyRefused(const std::string& text) {
  const Staged staged(text);
  DWORD exitCode = 0;
  std::string output = RunEngine("run -test -config \"" + staged.Path() + "\"", exitCode);
  EXPECT_NE(exitCode, 0u);
  return output;
}

struct VpnConfig : testing::TestWithParam<std::string> {
  const std::string rewritten = RewriteForStart(FindConfigFixture(GetParam()).text, FreePorts());
};

TEST_P(VpnConfig, RewrittenForAStartIsAcceptedUnlessTheEngineDoesNotKnowItsProtocol) {
  const auto unknown = kUnknownToTheEngine.find(GetParam());
  EXPECT_EQ(EngineAccepts(rewritten), unknown == kUnknownToTheEngine.end());
  if (unknown == kUnknownToTheEngine.end()) return;
  const std::string why = WhyRefused(rewritten);
  EXPECT_NE(why.find(unknown->second), std::string::npos) << why;
}

// Being accepted by the engine means something only if the engine notices one wrong byte.
TEST_P(VpnConfig, WithoutItsLastBraceIsRefused) {
  EXPECT_FALSE(EngineAccepts(rewritten.substr(0, rewritten.rfind('}'))));
}

std::vector<std::string> FixtureNames() {
  std::vector<std::string> names;
  for (const ConfigFixture& fixture : ConfigFixtures()) names.push_back(fixture.name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Of, VpnConfig, testing::ValuesIn(FixtureNames()),
                         [](const auto& parameter) { return parameter.param; });

TEST(VpnConfigs, UnknownToTheEngineAreFewAndNamed) {
  const std::vector<std::string> names = FixtureNames();
  for (const auto& [name, reason] : kUnknownToTheEngine) {
    EXPECT_EQ(std::ranges::count(names, name), 1) << name << ": " << reason;
  }
  EXPECT_GE(names.size() - kUnknownToTheEngine.size(), 12u);
}

EngineCounters AskForCounters(uint16_t apiPort) {
  DWORD exitCode = 1;
  const std::string answer = RunEngine("api statsquery -server=127.0.0.1:" + std::to_string(apiPort), exitCode);
  return exitCode == 0 ? ParseEngineCounters(answer) : EngineCounters{};
}

// Runs the text until a mebibyte has gone through its SOCKS port and has been counted for the outbound "proxy".
void ExpectCountedProxyTraffic(const std::string& text) {
  const Staged staged(text);
  ASSERT_TRUE(ValidateXrayConfig(EnginePath(), staged.Path(), account));
  const auto engine = LaunchXray(EnginePath(), staged.Path(), {}, account);
  ASSERT_TRUE(engine);
  const uint16_t socksPort = DetectSocksPort(text);
  const uint16_t apiPort = FindApiPort(text);
  ASSERT_TRUE(WaitForListener(socksPort));
  ASSERT_TRUE(WaitForListener(apiPort));
  const EngineCounters before = AskForCounters(apiPort);
  EXPECT_EQ(before.uplink + before.downlink, 0u);

  const WebServer web;
  const auto page = Fetch(web.Url("/bytes/1048576"), socksPort);
  ASSERT_TRUE(page);
  EXPECT_EQ(page->bytes, kMebibyte);
  EngineCounters counters;
  EXPECT_TRUE(WaitUntil([&] {
    counters = AskForCounters(apiPort);
    return counters.downlink >= static_cast<uint64_t>(kMebibyte);
  })) << counters.downlink;
  EXPECT_GT(counters.uplink, 0u);
}

struct RunningVpnConfig : testing::Test {
  const std::string& text = FindConfigFixture("freedom_proxy").text;
  const LoopbackPorts ports{IsLoopbackPortFree, PickFreeLoopbackPort};

  ~RunningVpnConfig() override { EXPECT_TRUE(WaitForNoEngine()); }
};

TEST_F(RunningVpnConfig, CarriesTrafficThroughTheProxyOutboundAndCountsIt) {
  ExpectCountedProxyTraffic(RewriteForStart(text, ports));
}

TEST_F(RunningVpnConfig, WhosePortsAreTakenRunsOnOthers) {
  const PortHolder socks(FindConfigFixture("freedom_proxy").socksPort);
  const PortHolder api(kVpnApiPort);
  const std::string rewritten = RewriteForStart(text, ports);
  EXPECT_NE(DetectSocksPort(rewritten), FindConfigFixture("freedom_proxy").socksPort);
  EXPECT_NE(FindApiPort(rewritten), kVpnApiPort);
  ExpectCountedProxyTraffic(rewritten);
}

}  // namespace
}  // namespace moorlak::machine
