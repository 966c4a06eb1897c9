#include "ipc/wire_format.h"

#include <gtest/gtest.h>
#include <limits>

namespace moorlak {
namespace {

TEST(WireFormat, NumbersAreLittleEndian) {
  const WireNumber expected{0x78, 0x56, 0x34, 0x12};
  EXPECT_EQ(EncodeNumber(0x12345678), expected);
  EXPECT_EQ(DecodeNumber(expected), 0x12345678u);
}

TEST(WireFormat, NumbersSurviveTheRoundTripAtTheirBounds) {
  for (const uint32_t value : {0u, 1u, 0xFFu, 0x100u, kMaxPayloadBytes, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(DecodeNumber(EncodeNumber(value)), value);
  }
}

TEST(WireFormat, ThePayloadLimitIsSixteenMebibytes) {
  EXPECT_EQ(kMaxPayloadBytes, 16777216u);
}

TEST(WireFormat, ARequestIsCodeLengthPayload) {
  const std::string expected("\x02\0\0\0\x03\0\0\0abc", 11);
  EXPECT_EQ(EncodeRequest(CommandCode::Start, "abc"), expected);
}

TEST(WireFormat, ARequestWithoutPayloadHasLengthZero) {
  EXPECT_EQ(EncodeRequest(CommandCode::Status, ""), std::string("\x04\0\0\0\0\0\0\0", 8));
}

TEST(WireFormat, TheByteZeroSelectsVpnMode) {
  const StartPayload start = DecodeStartPayload("0\n{\"a\":1}");
  EXPECT_FALSE(start.proxyMode);
  EXPECT_EQ(start.configText, "{\"a\":1}");
}

TEST(WireFormat, TheByteOneSelectsProxyMode) {
  const StartPayload start = DecodeStartPayload("1\n{\"a\":1}");
  EXPECT_TRUE(start.proxyMode);
  EXPECT_EQ(start.configText, "{\"a\":1}");
}

TEST(WireFormat, AnyOtherModeByteSelectsVpnMode) {
  for (int mode = 0; mode < 256; ++mode) {
    const std::string payload{static_cast<char>(mode), '\n', '{', '}'};
    EXPECT_EQ(DecodeStartPayload(payload).proxyMode, mode == '1') << mode;
  }
}

TEST(WireFormat, TheSeparatorIsNotLookedAt) {
  for (int separator = 0; separator < 256; ++separator) {
    const std::string payload{'1', static_cast<char>(separator), '{', '}'};
    EXPECT_EQ(DecodeStartPayload(payload).configText, "{}") << separator;
  }
}

TEST(WireFormat, OneAndTwoBytesCarryAnEmptyConfiguration) {
  EXPECT_TRUE(DecodeStartPayload("1").proxyMode);
  EXPECT_EQ(DecodeStartPayload("1").configText, "");
  EXPECT_EQ(DecodeStartPayload("1\n").configText, "");
  EXPECT_EQ(DecodeStartPayload("1\n{").configText, "{");
}

TEST(WireFormat, TheConfigurationKeepsItsNulBytes) {
  const std::string text("{\0}\0", 4);
  EXPECT_EQ(DecodeStartPayload(EncodeStartPayload(true, text)).configText, text);
}

TEST(WireFormat, StartPayloadsSurviveTheRoundTrip) {
  for (const bool proxyMode : {false, true}) {
    const std::string payload = EncodeStartPayload(proxyMode, "{}");
    EXPECT_EQ(DecodeStartPayload(payload).proxyMode, proxyMode);
    EXPECT_EQ(DecodeStartPayload(payload).configText, "{}");
  }
}

TEST(WireFormat, StatusWhileIdlePrintsZeros) {
  EXPECT_EQ(FormatStatusReply({}), "OK running=0 tunnel=0 up=0 down=0");
}

TEST(WireFormat, StatusPrintsFlagsAndSignedCounters) {
  const StatusReply status{true, false, 42, std::numeric_limits<int64_t>::min()};
  EXPECT_EQ(FormatStatusReply(status), "OK running=1 tunnel=0 up=42 down=-9223372036854775808");
}

TEST(WireFormat, StatusRepliesSurviveTheRoundTrip) {
  const StatusReply status{false, true, std::numeric_limits<int64_t>::max(), 7};
  const auto parsed = ParseStatusReply(FormatStatusReply(status));
  ASSERT_TRUE(parsed);
  EXPECT_FALSE(parsed->running);
  EXPECT_TRUE(parsed->tunnelUp);
  EXPECT_EQ(parsed->upBytes, std::numeric_limits<int64_t>::max());
  EXPECT_EQ(parsed->downBytes, 7);
  const auto running = ParseStatusReply(FormatStatusReply({true, false, 0, 0}));
  ASSERT_TRUE(running);
  EXPECT_TRUE(running->running);
  EXPECT_FALSE(running->tunnelUp);
}

TEST(WireFormat, AStatusReplyOfAnyOtherFormIsNotRead) {
  for (const char* reply :
       {"", "OK", "ERR:Unknown command.", "OK running=1 tunnel=1 up=1", "OK running=1 tunnel=1 up=1 down=",
        "OK running=2 tunnel=1 up=1 down=1", "OK running=01 tunnel=1 up=1 down=1", "OK running=1 tunnel=1 up=+1 down=1",
        "OK running=1 tunnel=1 up=1 down=-0", "OK running=1 tunnel=1 up=1 down=1 ",
        "OK running=1 tunnel=1 up=1 down=1\n", "OK  running=1 tunnel=1 up=1 down=1",
        "OK running=1 tunnel=1 up=9223372036854775808 down=1", "OK running=- tunnel=1 up=1 down=1"}) {
    EXPECT_FALSE(ParseStatusReply(reply)) << reply;
  }
}

TEST(WireFormat, ACutStatusReplyIsNotRead) {
  const std::string whole = "OK running=1 tunnel=1 up=1 down=1";
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(ParseStatusReply(std::string_view(whole).substr(0, length))) << length;
  }
}

}  // namespace
}  // namespace moorlak
