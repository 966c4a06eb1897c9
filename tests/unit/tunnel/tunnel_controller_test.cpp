#include "tunnel/tunnel_controller.h"

#include <gtest/gtest.h>
#include <memory>

namespace moorlak {
namespace {

constexpr char kInvalid[] = "Invalid VPN configuration. The server config could not be parsed.";

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
  EXPECT_EQ(StartError("[]", false), "VPN service is unavailable.");
}

TEST_F(Controller, AnswersAVpnStartWithoutAnEngine) {
  EXPECT_EQ(StartError("{}", false), "VPN service is unavailable.");
  EXPECT_FALSE(controller->IsRunning());
  EXPECT_FALSE(controller->proxyMode);
}

TEST_F(Controller, TellsWhenProxyModeCannotStart) {
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
  int64_t up = -1;
  int64_t down = -1;
  controller->GetTraffic(up, down);
  EXPECT_EQ(up, 0);
  EXPECT_EQ(down, 0);
  EXPECT_FALSE(controller->IsTunnelUp());
  EXPECT_FALSE(controller->StopIfCurrent(0, "never written"));
}

}  // namespace
}  // namespace moorlak
