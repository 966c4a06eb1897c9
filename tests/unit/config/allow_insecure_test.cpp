#include "config/allow_insecure.h"

#include <gtest/gtest.h>

#include "unit/config/token_soup.h"

namespace moorlak {
namespace {

// The result according to the three patterns, for texts that are short enough.
std::string StripByPatterns(std::string text) {
  constexpr auto kFlags = std::regex::ECMAScript | std::regex::icase;
  static const std::regex patterns[] = {
      std::regex(R"(,\s*"allowInsecure"\s*:\s*(true|false|1|0))", kFlags),
      std::regex(R"("allowInsecure"\s*:\s*(true|false|1|0)\s*,)", kFlags),
      std::regex(R"("allowInsecure"\s*:\s*(true|false|1|0))", kFlags),
  };
  for (const std::regex& pattern : patterns) text = std::regex_replace(text, pattern, "");
  return text;
}

TEST(AllowInsecure, AMemberThatIsAloneLeavesAnEmptyObject) {
  EXPECT_EQ(StripAllowInsecure(R"({"allowInsecure": false})"), "{}");
}

TEST(AllowInsecure, TheFirstMemberGoesWithTheCommaAfterItAndLeavesTheBlankAfterThat) {
  EXPECT_EQ(StripAllowInsecure(R"({"allowInsecure": 1, "b": 2})"), R"({ "b": 2})");
}

TEST(AllowInsecure, ALaterMemberGoesWithTheCommaBeforeIt) {
  EXPECT_EQ(StripAllowInsecure(R"({"a":1, "allowInsecure": true, "b":2})"), R"({"a":1, "b":2})");
}

TEST(AllowInsecure, ATextWithoutTheKeyIsReturnedByteForByte) {
  const std::string text = std::string("{\"a\": \"allowInsecure\", \"\xFF\": [1 ,\r\n 2],}") + '\0' + "x";
  EXPECT_EQ(StripAllowInsecure(text), text);
  EXPECT_EQ(StripAllowInsecure(""), "");
}

TEST(AllowInsecure, SeveralMembersInSeveralObjectsAreAllRemoved) {
  EXPECT_EQ(
      StripAllowInsecure(R"({"x":{"allowInsecure":0},"y":[{"a":1,"allowInsecure":true},{"allowInsecure":1,"b":2}]})"),
      R"({"x":{},"y":[{"a":1},{"b":2}]})");
}

TEST(AllowInsecure, LetterCaseIsIgnoredInTheKeyAndInTheValue) {
  EXPECT_EQ(StripAllowInsecure(R"({"a":1,"AllowInsecure": TRUE})"), R"({"a":1})");
}

TEST(AllowInsecure, OtherValuesStay) {
  for (const char* text : {R"({"allowInsecure":"true"})", R"({"allowInsecure":null})", R"({"allowInsecure":2})",
                           R"({"allowInsecure":})", R"({"allowInsecure":tru)", R"({"allowInsecure")"}) {
    EXPECT_EQ(StripAllowInsecure(text), text);
  }
}

TEST(AllowInsecure, OfANumberThatBeginsWithOneOnlyTheFirstDigitIsTaken) {
  EXPECT_EQ(StripAllowInsecure(R"({"allowInsecure": 10})"), "{0}");
}

TEST(AllowInsecure, EveryTextIsTreatedAsByTheThreePatternsInTheirOrder) {
  const std::vector<std::string> tokens = {
      "\"allowInsecure\"",
      "\"ALLOWINSECURE\"",
      "\"allowInsecure\":",
      "\"allowInsecure\": true",
      "allowInsecure",
      ",",
      ",",
      ",",
      ":",
      ":",
      " ",
      "\n",
      "\v",
      "true",
      "FALSE",
      "1",
      "0",
      "10",
      "\"true\"",
      "\"",
      "{",
      "}",
      "x",
      "\xA0",
      std::string(1, '\0'),
  };
  std::mt19937 random(48);
  int changed = 0;
  for (int round = 0; round < 6000; ++round) {
    const std::string soup = TokenSoup(random, tokens, 24);
    const std::string expected = StripByPatterns(soup);
    ASSERT_EQ(StripAllowInsecure(soup), expected) << "round " << round << ", text: " << soup;
    changed += expected != soup;
  }
  EXPECT_GT(changed, 500);
}

// Each of these texts would keep a scanner that rereads skipped bytes busy for minutes.
TEST(AllowInsecure, HostileTextsTakeLinearTime) {
  constexpr size_t kSize = 2u << 20;
  std::string heads;
  while (heads.size() < kSize) heads += "\"allowInsecure\" :  ,";
  EXPECT_EQ(StripAllowInsecure(heads), heads);

  std::string commas;
  while (commas.size() < kSize) commas += "," + std::string(1u << 12, ' ');
  EXPECT_EQ(StripAllowInsecure(commas), commas);

  const std::string blanks = "," + std::string(kSize, '\n') + "\"allowInsecure\":" + std::string(kSize, ' ') + "2";
  EXPECT_EQ(StripAllowInsecure(blanks), blanks);

  std::string members;
  while (members.size() < kSize) members += "\"allowInsecure\":1 ";
  EXPECT_EQ(StripAllowInsecure(members).find_first_not_of(' '), kNotFound);
}

}  // namespace
}  // namespace moorlak
