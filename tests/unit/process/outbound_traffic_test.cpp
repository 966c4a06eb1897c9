#include <gtest/gtest.h>
#include <string>

#include "process/engine_counters.h"

namespace moorlak {
namespace {

std::string Counter(const std::string& name, const std::string& value) {
  return R"({"name": ")" + name + R"(", "value": )" + value + "}";
}

std::string Up(const std::string& tag, const std::string& value) {
  return Counter("outbound>>>" + tag + ">>>traffic>>>uplink", value);
}

std::string Down(const std::string& tag, const std::string& value) {
  return Counter("outbound>>>" + tag + ">>>traffic>>>downlink", value);
}

TEST(TrafficCounters, AnAnswerInTheEnginesFormIsRead) {
  const auto totals = SumOutboundTraffic(R"({
    "stat": [
        {
            "name": "inbound>>>in_proxy>>>traffic>>>uplink",
            "value": "999"
        },
        {
            "name": "outbound>>>proxy>>>traffic>>>uplink",
            "value": "123"
        },
        {
            "name": "outbound>>>proxy>>>traffic>>>downlink",
            "value": 4567
        }
    ]
})",
                                         "api");
  ASSERT_TRUE(totals);
  EXPECT_EQ(totals->uplink, 123);
  EXPECT_EQ(totals->downlink, 4567);
}

TEST(TrafficCounters, TheOutboundsAreSummedAndTheApisOwnIsLeftOut) {
  const auto totals = SumOutboundTraffic(
      Up("proxy", "1") + Up("direct", "20") + Up("api", "400") + Down("proxy", "\"8000\"") + Down("api", "16000"),
      "api");
  ASSERT_TRUE(totals);
  EXPECT_EQ(totals->uplink, 21);
  EXPECT_EQ(totals->downlink, 8000);
  EXPECT_EQ(SumOutboundTraffic(Up("api", "400") + Up("mine", "5"), "mine")->uplink, 400);
}

TEST(TrafficCounters, ACounterOfZeroHasNoValue) {
  const auto totals =
      SumOutboundTraffic(R"({"stat":[{"name":"outbound>>>a>>>traffic>>>uplink"},)" + Up("b", "7") + "]}", "api");
  ASSERT_TRUE(totals);
  EXPECT_EQ(totals->uplink, 7);
  EXPECT_EQ(totals->downlink, 0);
}

TEST(TrafficCounters, CountersOfOtherThingsAreLeftOut) {
  const auto totals = SumOutboundTraffic(
      Counter("inbound>>>proxy>>>traffic>>>uplink", "1") + Counter("user>>>outbound>>>proxy>>>traffic>>>uplink", "1") +
          Counter("outbound>>>proxy>>>traffic>>>uplinks", "1") + Counter("outbound>>>>>>traffic>>>uplink", "2") +
          Counter("outbound>>>traffic>>>uplink", "1"),
      "api");
  ASSERT_TRUE(totals);
  // The fourth is an outbound with an empty tag; the last has no room for a tag.
  EXPECT_EQ(totals->uplink, 2);
}

TEST(TrafficCounters, AnObjectWithoutANameIsNoCounter) {
  EXPECT_EQ(SumOutboundTraffic(R"({"value":5})" + Up("a", "3"), "api")->uplink, 3);
}

TEST(TrafficCounters, ATagMayHoldTheSeparator) {
  EXPECT_EQ(SumOutboundTraffic(Up("a>>>traffic>>>uplink", "3"), "api")->uplink, 3);
}

TEST(TrafficCounters, EscapedNamesAreRead) {
  EXPECT_EQ(
      SumOutboundTraffic(Counter(R"(outbound\u003e\u003e\u003eproxy\u003E>>traffic>>>uplink)", "3"), "api")->uplink, 3);
}

TEST(TrafficCounters, AnOverflowEndsTheReadingAndKeepsWhatWasSummed) {
  const auto tooLarge = SumOutboundTraffic(Up("a", "5") + Down("a", "9223372036854775808") + Up("b", "100"), "api");
  ASSERT_TRUE(tooLarge);
  EXPECT_EQ(tooLarge->uplink, 5);
  EXPECT_EQ(tooLarge->downlink, 0);

  const auto sum = SumOutboundTraffic(Up("a", "9223372036854775807") + Up("b", "1") + Down("a", "100"), "api");
  ASSERT_TRUE(sum);
  EXPECT_EQ(sum->uplink, 9223372036854775807);
  EXPECT_EQ(sum->downlink, 0);
}

TEST(TrafficCounters, AValueThatIsNoNumberIsLeftOut) {
  const auto totals = SumOutboundTraffic(
      Up("a", "\"12x\"") + Up("b", "-5") + Up("c", "\"\"") + Up("d", "\"x1\"") + Up("e", "4"), "api");
  ASSERT_TRUE(totals);
  EXPECT_EQ(totals->uplink, 4);
}

TEST(TrafficCounters, AnOutputWithoutCountersIsNoReading) {
  EXPECT_FALSE(SumOutboundTraffic("", "api"));
  EXPECT_FALSE(SumOutboundTraffic("failed to dial 127.0.0.1:10085", "api"));
  EXPECT_FALSE(SumOutboundTraffic("{}", "api"));
  EXPECT_FALSE(SumOutboundTraffic(R"({"value": 5})", "api"));
  EXPECT_FALSE(SumOutboundTraffic(R"({"name": "outbound>>>a>>>traffic>>>uplink", "value": 5)", "api"));
}

TEST(TrafficCounters, AHostileOutputTakesLinearTime) {
  constexpr size_t kSize = 2u << 20;
  EXPECT_FALSE(SumOutboundTraffic(std::string(kSize, '{'), "api"));
  std::string names;
  while (names.size() < kSize) names += "{\"name\" : 1 \"name\" : }{";
  EXPECT_FALSE(SumOutboundTraffic(names, "api"));
}

}  // namespace
}  // namespace moorlak
