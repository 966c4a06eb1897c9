#include "config/tun_inbound.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

constexpr std::string_view kHead = R"(    {
      "tag": "tun-in",
      "protocol": "tun",
      "settings": {
        "name": "Moorlak",
        "desc": "Moorlak",
        "mtu": 1500,
        "gateway": ["10.0.85.1/24"],
        "dns": [)";
constexpr std::string_view kTail = R"(],
        "autoSystemRoutingTable": ["0.0.0.0/0", "::/0"],
        "autoOutboundsInterface": "auto"
      },
      "sniffing": {
        "enabled": true,
        "destOverride": ["http", "tls", "quic"]
      }
    },)";

std::string Inbound(std::string_view dns) {
  return "\n" + std::string(kHead) + std::string(dns) + std::string(kTail);
}

TEST(TunInbound, IsInsertedAsTheFirstInbound) {
  EXPECT_EQ(kHead.size(), 202u);
  EXPECT_EQ(kTail.size(), 217u);
  EXPECT_EQ(InjectTunInbound(R"({"inbounds" : [{"tag":"a"}]})", {"1.1.1.1", "8.8.8.8"}),
            "{\"inbounds\" : [" + Inbound(R"("1.1.1.1","8.8.8.8")") + "{\"tag\":\"a\"}]}");
}

TEST(TunInbound, AnotherSpacingOfTheProtocolIsNotRecognised) {
  for (const std::string protocol : {"\"protocol\" : \"tun\"", "\"protocol\":  \"tun\"", "\"protocol\":\n\"tun\"",
                                     "\"Protocol\":\"tun\"", "\"protocol\":\"tunnel\""}) {
    EXPECT_EQ(InjectTunInbound("{\"inbounds\":[{" + protocol + "}]}", {"1.1.1.1"}),
              "{\"inbounds\":[" + Inbound("\"1.1.1.1\"") + "{" + protocol + "}]}");
  }
}

TEST(TunInbound, OneThatIsThereWinsInEitherSpacing) {
  for (const std::string text : {R"({"inbounds":[{"protocol":"tun"}]})", R"({"inbounds":[{"protocol": "tun"}]})"}) {
    EXPECT_EQ(InjectTunInbound(text, {"1.1.1.1"}), text);
  }
}

TEST(TunInbound, OfFiveNameServersTheFirstFourAreWritten) {
  EXPECT_EQ(InjectTunInbound("\"inbounds\":[]", {"1.1.1.1", "8.8.8.8", "9.9.9.9", "149.112.112.112", "94.140.14.14"}),
            "\"inbounds\":[" + Inbound(R"("1.1.1.1","8.8.8.8","9.9.9.9","149.112.112.112")") + "]");
}

TEST(TunInbound, WithoutNameServersTheFallbackIsWritten) {
  EXPECT_EQ(InjectTunInbound("\"inbounds\":[{}]", {}),
            "\"inbounds\":[" + Inbound(R"("9.9.9.9","149.112.112.112")") + "{}]");
}

TEST(TunInbound, AnEmptyArrayEndsUpWithACommaBeforeItsBracket) {
  const std::string text = InjectTunInbound("{\"inbounds\":[]}", {"1.1.1.1"});
  EXPECT_EQ(text, "{\"inbounds\":[" + Inbound("\"1.1.1.1\"") + "]}");
  EXPECT_TRUE(text.ends_with("},]}"));
}

TEST(TunInbound, ATextWithoutInboundsIsReturnedByteForByte) {
  for (const std::string text : {"", "{\"Inbounds\":[]}", "{\"outbounds\":[]}", "[{\"inbounds\":1}"}) {
    EXPECT_EQ(InjectTunInbound(text, {"1.1.1.1"}), text);
  }
}

}  // namespace
}  // namespace moorlak
