#include "process/engine_counters.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

const std::string kUp = "outbound>>>proxy>>>traffic>>>uplink";
const std::string kDown = "outbound>>>proxy>>>traffic>>>downlink";

std::string Counter(const std::string& name, const std::string& value) {
  return R"({"name": ")" + name + R"(", "value": )" + value + "}";
}

std::string Answer(std::initializer_list<std::string> counters) {
  std::string text = "{\n  \"stat\": [";
  for (const std::string& counter : counters) {
    if (!text.ends_with('[')) text += ",\n";
    text += counter;
  }
  return text + "]\n}\n";
}

void ExpectSums(const std::string& output, uint64_t uplink, uint64_t downlink) {
  const EngineCounters sums = ParseEngineCounters(output);
  EXPECT_EQ(sums.uplink, uplink) << output;
  EXPECT_EQ(sums.downlink, downlink) << output;
}

TEST(EngineCounters, AreReadFromAnAnswer) {
  ExpectSums(Answer({Counter(kUp, "12"), Counter(kDown, "345")}), 12, 345);
  ExpectSums(
      "{\r\n  \"stat\"  :  [\r\n    {\r\n      \"name\"\t:\t\"" + kUp + "\",\r\n      \"value\"\t:\t7\r\n    }]}", 7,
      0);
}

TEST(EngineCounters, OutputWithoutStatSumsUpTo0) {
  ExpectSums("", 0, 0);
  ExpectSums("failed to dial 127.0.0.1:10086", 0, 0);
  ExpectSums("{\"stats\": [" + Counter(kUp, "1") + "]}", 0, 0);
  ExpectSums("{stat: [" + Counter(kUp, "1") + "]}", 0, 0);
  ExpectSums("\"stat\"", 0, 0);
}

TEST(EngineCounters, TheWordStatMayBeAnywhere) {
  ExpectSums(Counter(kUp, "1") + "\"stat\"", 1, 0);
}

TEST(EngineCounters, SeveralWhoseNamesContainTheSameTextAreSummed) {
  ExpectSums(Answer({Counter(kUp, "1"), Counter("a" + kUp + "b", "20"), Counter(kDown, "300"), Counter(kDown, "4000")}),
             21, 4300);
}

TEST(EngineCounters, OthersAreIgnored) {
  ExpectSums(
      Answer({Counter("inbound>>>socks>>>traffic>>>uplink", "1"), Counter("outbound>>>direct>>>traffic>>>uplink", "2"),
              Counter("user>>>a>>>traffic>>>downlink", "3"), Counter("Outbound>>>proxy>>>traffic>>>uplink", "4"),
              Counter(kUp, "5")}),
      5, 0);
}

TEST(EngineCounters, ANameWithBothTextsIsUplink) {
  ExpectSums(Answer({Counter(kDown + kUp, "9")}), 9, 0);
}

TEST(EngineCounters, AnObjectWithoutNameOrValueIsSkipped) {
  ExpectSums(Answer({"{\"value\": 1}", "{\"name\": \"" + kUp + "\"}", "{\"name\": \"\", \"value\": 2}",
                     Counter(kUp, "\"3\""), Counter(kUp, "-4"), Counter(kUp, "50")}),
             50, 0);
}

TEST(EngineCounters, TheValueMayComeBeforeTheName) {
  ExpectSums(Answer({"{\"value\": 8, \"name\": \"" + kDown + "\"}"}), 0, 8);
}

TEST(EngineCounters, AnObjectReachesFromABraceToTheNextClosingOne) {
  // The inner object's brace opens nothing, and what follows the first closing brace belongs to no counter.
  ExpectSums("\"stat\"{\"name\": \"" + kUp + "\", \"x\": {\"value\": 6}, \"value\": 7}", 6, 0);
  ExpectSums("\"stat\"{\"name\": \"" + kUp + "\", \"x\": {}, \"value\": 7}", 0, 0);
  ExpectSums("\"stat\"}" + Counter(kUp, "1") + "}" + Counter(kUp, "2"), 3, 0);
}

TEST(EngineCounters, AnUnfinishedObjectEndsTheReading) {
  ExpectSums(Answer({Counter(kUp, "1")}) + "{\"name\": \"" + kUp + "\", \"value\": 2", 1, 0);
}

TEST(EngineCounters, TheLargestSigned64BitValueIsRead) {
  ExpectSums(Answer({Counter(kUp, "9223372036854775807"), Counter(kUp, "1")}), 9223372036854775808u, 0);
  ExpectSums(Answer({Counter(kUp, "0000000000000000000000000000012"), Counter(kUp, "0")}), 12, 0);
}

TEST(EngineCounters, AValueOutOfRangeEndsTheReadingAndWhatWasSummedStays) {
  for (const char* value :
       {"9223372036854775808", "18446744073709551615", "18446744073709551616", "99999999999999999999999999999999"}) {
    ExpectSums(Answer({Counter(kUp, "1"), Counter(kDown, "2"), Counter(kUp, value), Counter(kUp, "4")}), 1, 2);
  }
}

TEST(EngineCounters, AValueOutOfRangeOfAnotherCounterEndsTheReadingToo) {
  ExpectSums(Answer({Counter(kUp, "1"), Counter("inbound>>>x", "9223372036854775808"), Counter(kUp, "4")}), 1, 0);
}

TEST(EngineCounters, AValueOutOfRangeWithoutANameIsSkipped) {
  ExpectSums(Answer({"{\"value\": 9223372036854775808}", Counter(kUp, "4")}), 4, 0);
}

TEST(EngineCounters, OfANumberWithAFractionTheWholePartIsRead) {
  ExpectSums(Answer({Counter(kUp, "12.9"), Counter(kDown, "1e3")}), 12, 1);
}

}  // namespace
}  // namespace moorlak
