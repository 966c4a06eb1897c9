// The start command: mode, configuration text, and what happens to an earlier tunnel.
#include <gtest/gtest.h>

#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/running_service.h"
#include "machine/support/service_control.h"
#include "support/log_watch.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr char kUnparsable[] = "ERR:Invalid VPN configuration. The server config could not be parsed.";
// The folder of these tests contains no tun2socks.
constexpr char kNoVpn[] =
    "ERR:tun2socks.exe not found. Place it in the xray folder next to moor_lak.exe (with wintun.dll).";
constexpr char kNoProxy[] =
    "ERR:Could not start proxy mode. Ensure xray.exe is in the xray folder next to moor_lak.exe.";
constexpr size_t kLargestConfig = kMaxPayloadBytes - 2;

class StartCommand : public RunningService {
 protected:
  // Whatever a test sent, the service is still the same process and replies.
  void TearDown() override {
    EXPECT_EQ(Ask(CommandCode::Ping), "OK");
    EXPECT_EQ(ServiceProcessId(), processId);
  }

  const LogWatch log;
  const DWORD processId = ServiceProcessId();
};

TEST_F(StartCommand, TheByte1ALineFeedAndAnObjectStartProxyMode) {
  const uint16_t port = NextPort();
  EXPECT_EQ(Ask(CommandCode::Start, "1\n" + EngineConfig(port)), "OK");
  EXPECT_TRUE(WaitForListener(port));
  EXPECT_TRUE(AskStatus().tunnelUp);
  EXPECT_EQ(log.Count("IPC start accepted"), 1u);
}

TEST_F(StartCommand, TheByte0ALineFeedAndAnObjectSelectVpnMode) {
  EXPECT_EQ(Ask(CommandCode::Start, "0\n{}"), kNoVpn);
  EXPECT_EQ(log.Count(std::string("IPC start failed: ") + (kNoVpn + 4)), 1u);
}

TEST_F(StartCommand, AnyOtherModeByteSelectsVpnModeAndAnySeparatorWillDo) {
  EXPECT_EQ(Ask(CommandCode::Start, "x {}"), kNoVpn);
  EXPECT_EQ(Ask(CommandCode::Start, std::string("\0\0{}", 4)), kNoVpn);
  EXPECT_EQ(Ask(CommandCode::Start, "1x{"), kNoProxy);
}

TEST_F(StartCommand, TheSingleByte1IsAConfigurationThatCannotBeParsed) {
  EXPECT_EQ(Ask(CommandCode::Start, "1"), kUnparsable);
  EXPECT_EQ(Ask(CommandCode::Start, "1\n"), kUnparsable);
}

TEST_F(StartCommand, AnEmptyPayloadIsAMissingConfiguration) {
  EXPECT_EQ(Ask(CommandCode::Start), "ERR:Missing VPN config.");
  EXPECT_EQ(log.Count("IPC start (payload bytes=0)"), 1u);
  EXPECT_EQ(log.Count("IPC start failed: missing config"), 1u);
}

// A configuration that fails the controller's check in both modes.
class UnparsableConfig : public StartCommand, public testing::WithParamInterface<const char*> {};

TEST_P(UnparsableConfig, FailsAndLeavesThePreviousTunnelStopped) {
  const uint16_t port = NextPort();
  ASSERT_EQ(StartTunnel(true, EngineConfig(port)), "OK");
  ASSERT_TRUE(WaitForListener(port));
  EXPECT_EQ(StartTunnel(true, GetParam()), kUnparsable);
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=0 tunnel=0 up=0 down=0");
  EXPECT_TRUE(WaitForNoEngine());
}

INSTANTIATE_TEST_SUITE_P(OfOnlyWhitespace, UnparsableConfig, testing::Values(" \t\r\n \n"));
INSTANTIATE_TEST_SUITE_P(ThatBeginsWithALetter, UnparsableConfig, testing::Values("a{}"));

TEST_F(StartCommand, LeadingWhitespaceBeforeTheBraceIsAcceptedAndPassedOnUnchanged) {
  const std::string whitespace = " \t\r\n\n \t";
  const uint16_t port = NextPort();
  ASSERT_EQ(StartTunnel(true, whitespace + EngineConfig(port)), "OK");
  ASSERT_TRUE(WaitForListener(port));
  // The engine's configuration is in the staging folder as long as the engine runs.
  EXPECT_EQ(ReadStagedText().substr(0, whitespace.size() + 1), whitespace + "{");
}

TEST_F(StartCommand, AConfigurationThatBeginsWithABracketPassesTheControllersCheck) {
  EXPECT_EQ(StartTunnel(false, "["), kNoVpn);
  EXPECT_EQ(StartTunnel(true, "["), kNoProxy);
}

TEST_F(StartCommand, AnUnbalancedConfigurationIsNoProxyMode) {
  for (const char* config : {"{", "[", "{]", "}{", "{\"a\":\"}"}) {
    EXPECT_NE(StartTunnel(true, config), "OK") << config;
  }
  EXPECT_EQ(StartTunnel(true, "{\"a\":\"}"), kNoProxy);
}

TEST_F(StartCommand, InvalidUtf8GetsTheErrorsOfAnyOtherText) {
  EXPECT_EQ(StartTunnel(false, "\xFF\xFE{}"), kUnparsable);
  EXPECT_EQ(StartTunnel(false, "{\"a\":\"\xC3\x28\xED\xA0\x80\xFF\"}"), kNoVpn);
  EXPECT_EQ(StartTunnel(true, "{\"a\":\"\xC3\x28\xED\xA0\x80\xFF\""), kNoProxy);
}

TEST_F(StartCommand, NulBytesGetTheErrorsOfAnyOtherText) {
  EXPECT_EQ(StartTunnel(true, std::string(5, '\0')), kUnparsable);
  EXPECT_EQ(StartTunnel(true, std::string("\0{}", 3)), kUnparsable);
  EXPECT_EQ(StartTunnel(false, std::string("{\0}", 3)), kNoVpn);
  EXPECT_EQ(StartTunnel(true, std::string("{\0", 2)), kNoProxy);
}

TEST_F(StartCommand, SixteenMebibytesOfOpeningBracketsGetTheErrorOfTheirMode) {
  const std::string brackets(kLargestConfig, '[');
  EXPECT_EQ(StartTunnel(false, brackets), kNoVpn);
  EXPECT_EQ(StartTunnel(true, brackets), kNoProxy);
  EXPECT_EQ(log.Count("IPC start (payload bytes=16777216)"), 2u);
}

TEST_F(StartCommand, SixteenMebibytesOfOneUnendedStringGetTheErrorOfTheirMode) {
  const std::string text = "{\"" + std::string(kLargestConfig - 2, '\\');
  EXPECT_EQ(StartTunnel(false, text), kNoVpn);
  EXPECT_EQ(StartTunnel(true, text), kNoProxy);
}

TEST_F(StartCommand, SixteenMebibytesOfWhitespaceCannotBeParsed) {
  EXPECT_EQ(StartTunnel(true, std::string(kLargestConfig, ' ')), kUnparsable);
}

}  // namespace
}  // namespace moorlak::machine
