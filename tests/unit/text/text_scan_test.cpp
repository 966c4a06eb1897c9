#include "text/text_scan.h"

#include <functional>
#include <gtest/gtest.h>
#include <limits>

#include "unit/config/token_soup.h"

namespace moorlak {
namespace {

using Scanner = std::function<std::optional<TextMatch>(const std::string&)>;

const std::vector<std::string>& Tokens() {
  static const std::vector<std::string> tokens = {
      "\"port\"",
      "\"PORT\"",
      "\"Port\"",
      "port",
      "\"tag\"",
      "\"in_proxy\"",
      "\"IN_Proxy\"",
      "in_proxy",
      ":",
      ":",
      ":",
      " ",
      "\t",
      "\n",
      "\v",
      "\f",
      "\r",
      "\"",
      "\"",
      "0",
      "7",
      "10808",
      ",",
      "{",
      "}",
      "\\",
      "x",
      std::string(1, '\0'),
      "\xC2\xA0",
      "\x85",
      "\x1C",
      "\xFF",
      "port\"",
      "\"port",
      "\"tag\":\"in_proxy\"",
      "\"port\":",
  };
  return tokens;
}

// Compares a scanner with its pattern on many soups and checks how often they match, so that the comparison is not
// empty.
void ExpectSameAsPattern(const char* pattern, bool ignoreCase, const Scanner& scan) {
  const std::regex expression(pattern,
                              ignoreCase ? std::regex::ECMAScript | std::regex::icase : std::regex::ECMAScript);
  std::mt19937 random(20240607);
  int matches = 0;
  for (int round = 0; round < 4000; ++round) {
    const std::string soup = TokenSoup(random, Tokens(), 30);
    const PlainMatch expected = RegexMatch(soup, expression);
    ASSERT_EQ(Plain(scan(soup)), expected) << "round " << round << ", text: " << soup;
    matches += expected.begin != kNotFound;
  }
  EXPECT_GT(matches, 40);
  EXPECT_LT(matches, 3960);
}

TEST(TextScan, ANumberMemberIsFoundAsByItsPattern) {
  ExpectSameAsPattern(R"("port"\s*:\s*(\d+))", false, [](const auto& text) { return FindNumberMember(text, "port"); });
}

TEST(TextScan, ANumberMemberIsFoundAsByItsPatternWithoutRegardToCase) {
  ExpectSameAsPattern(R"("port"\s*:\s*(\d+))", true,
                      [](const auto& text) { return FindNumberMember(text, "port", 0, LetterCase::Ignore); });
}

TEST(TextScan, ATextMemberIsFoundAsByItsPattern) {
  ExpectSameAsPattern(R"re("port"\s*:\s*"([^"]*)")re", false,
                      [](const auto& text) { return FindTextMember(text, "port"); });
}

TEST(TextScan, ATextMemberIsFoundAsByItsPatternWithoutRegardToCase) {
  ExpectSameAsPattern(R"re("PORT"\s*:\s*"([^"]*)")re", true,
                      [](const auto& text) { return FindTextMember(text, "PORT", 0, LetterCase::Ignore); });
}

TEST(TextScan, AMemberWithAGivenTextIsFoundAsByItsPattern) {
  ExpectSameAsPattern(R"re("tag"\s*:\s*"(in_proxy)")re", false,
                      [](const auto& text) { return FindMemberWithText(text, "tag", {"in_proxy"}); });
  ExpectSameAsPattern(R"re("tag"\s*:\s*"(in_proxy)")re", true, [](const auto& text) {
    return FindMemberWithText(text, "tag", {"in_proxy"}, 0, LetterCase::Ignore);
  });
}

TEST(TextScan, AKeyIsFoundAsByItsPattern) {
  const auto scanWith = [](LetterCase letterCase) {
    return [letterCase](const std::string& text) -> std::optional<TextMatch> {
      const size_t begin = FindKey(text, "port", 0, letterCase);
      if (begin == kNotFound) return std::nullopt;
      return TextMatch{begin, begin + 6, {}};
    };
  };
  ExpectSameAsPattern(R"("port")", false, scanWith(LetterCase::Exact));
  ExpectSameAsPattern(R"("port")", true, scanWith(LetterCase::Ignore));
}

TEST(TextScan, AHeadAndItsFirstTailAreFoundAsByTheirPattern) {
  ExpectSameAsPattern(R"("tag"[\s\S]*?"port"\s*:\s*(\d+))", false,
                      [](const std::string& text) -> std::optional<TextMatch> {
                        const size_t head = FindKey(text, "tag", 0, LetterCase::Exact);
                        if (head == kNotFound) return std::nullopt;
                        auto tail = FindNumberMember(text, "port", head + 5);
                        if (tail) tail->begin = head;
                        return tail;
                      });
}

std::optional<TextMatch> FindOneByte(std::string_view text, char byte, size_t from) {
  const size_t begin = FindByte(text, byte, from);
  return begin == kNotFound ? std::nullopt : std::optional(TextMatch{begin, begin + 1, {}});
}

TEST(TextScan, AHeadMayFollowAnotherAtOnce) {
  const auto head = [](std::string_view text, size_t from) { return FindOneByte(text, 'a', from); };
  const auto tail = [](std::string_view text, size_t from) { return FindOneByte(text, 'b', from); };
  const auto match = FindAcrossGap("aab", {head, tail, 0}, 0);
  ASSERT_TRUE(match);
  EXPECT_EQ(match->head.begin, 1u);
}

TEST(TextScan, BlanksAndDigitsAreExactlyThoseOfThePatterns) {
  const std::regex blank("\\s");
  const std::regex digit("\\d");
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(IsBlank(text[0]), std::regex_match(text, blank)) << byte;
    EXPECT_EQ(IsDigit(text[0]), std::regex_match(text, digit)) << byte;
  }
}

TEST(TextScan, TheCaseOfAsciiLettersOnlyIsIgnored) {
  EXPECT_EQ(MatchLiteral("aZ", 0, "Az", LetterCase::Ignore), 2u);
  EXPECT_EQ(MatchLiteral("aZ", 0, "Az", LetterCase::Exact), kNotFound);
  EXPECT_EQ(MatchLiteral("@", 0, "`", LetterCase::Ignore), kNotFound);
  EXPECT_EQ(MatchLiteral("[", 0, "{", LetterCase::Ignore), kNotFound);
  EXPECT_EQ(MatchLiteral("\xC4", 0, "\xE4", LetterCase::Ignore), kNotFound);
}

TEST(TextScan, AnEmptyLiteralMatchesEverywhereInTheText) {
  EXPECT_EQ(MatchLiteral("ab", 2, "", LetterCase::Exact), 2u);
  EXPECT_EQ(MatchLiteral("ab", 3, "", LetterCase::Exact), kNotFound);
}

TEST(TextScan, AKeyMayBeTheWholeText) {
  EXPECT_TRUE(ContainsKey("\"api\"", "api"));
  EXPECT_FALSE(ContainsKey("\"api", "api"));
}

TEST(TextScan, AMemberWithAnotherValueIsNoList) {
  EXPECT_FALSE(FindListMember(R"("a":1,"b":[2])", "a"));
  EXPECT_EQ(FindListMember(R"("a":1,"a":[2])", "a")->group, "2");
}

TEST(TextScan, AnAddressInQuotesEndsWithAQuote) {
  EXPECT_EQ(FindQuotedAddress(R"("1.2.3.4")", 0)->group, "1.2.3.4");
  EXPECT_FALSE(FindQuotedAddress(R"("1.2.3.4)", 0));
  EXPECT_FALSE(FindQuotedAddress(R"("1.2.3.4 ")", 0));
}

TEST(TextScan, ADottedQuadHasFourGroupsOfOneToThreeDigits) {
  for (const char* quad : {"1.2.3.4", "255.255.255.255", "999.0.00.1"}) EXPECT_TRUE(IsDottedQuad(quad)) << quad;
  for (const char* other : {"", "1.2.3", "1.2.3.4.5", "1234.2.3.4", "1.2.3.1234", ".2.3.4", "1..3.4", "1.2.3.",
                            "1.2.3.x", "1,2,3,4", "1.2.3.4 ", " 1.2.3.4", "1.2.3.4."}) {
    EXPECT_FALSE(IsDottedQuad(other)) << other;
  }
}

TEST(TextScan, SearchesBeginAtTheirStart) {
  const std::string text = R"("port":1,"port":2)";
  EXPECT_EQ(FindNumberMember(text, "port", 0)->group, "1");
  EXPECT_EQ(FindNumberMember(text, "port", 1)->group, "2");
  EXPECT_FALSE(FindNumberMember(text, "port", 10));
  EXPECT_FALSE(FindNumberMember(text, "port", text.size()));
  EXPECT_FALSE(FindNumberMember(text, "port", text.size() + 5));
}

TEST(TextScan, AListOfLiteralsMatchesItsFirstThatIsThere) {
  EXPECT_EQ(MatchAnyLiteral("x10", 1, {"0", "1", "10"}, LetterCase::Exact), 2u);
  EXPECT_EQ(MatchAnyLiteral("TRUE", 0, {"false", "true"}, LetterCase::Ignore), 4u);
  EXPECT_EQ(MatchAnyLiteral("tru", 0, {"false", "true"}, LetterCase::Ignore), kNotFound);
}

TEST(TextScan, DecimalNumbersAreReadWithoutOverflow) {
  constexpr uint64_t kAny = std::numeric_limits<uint64_t>::max();
  EXPECT_EQ(ParseDecimal("18446744073709551615", kAny), kAny);
  EXPECT_FALSE(ParseDecimal("18446744073709551616", kAny));
  EXPECT_EQ(ParseDecimal("00000000000000000000000000065535", 65535), 65535u);
  EXPECT_FALSE(ParseDecimal("65536", 65535));
  EXPECT_FALSE(ParseDecimal("", kAny));
  EXPECT_FALSE(ParseDecimal("-1", kAny));
  EXPECT_FALSE(ParseDecimal("+1", kAny));
  EXPECT_FALSE(ParseDecimal("1 ", kAny));
  EXPECT_FALSE(ParseDecimal("0x1", kAny));
}

// Megabytes of near misses: a scanner that rereads skipped bytes would need minutes for them.
TEST(TextScan, HostileTextsTakeLinearTime) {
  constexpr size_t kSize = 2u << 20;
  std::string heads;
  while (heads.size() < kSize) heads += "\"port\" : \"port\" :";
  EXPECT_FALSE(FindNumberMember(heads, "port"));
  EXPECT_FALSE(FindMemberWithText(heads, "port", {"tag"}));

  const std::string blanks = "\"port\":" + std::string(kSize, ' ') + "x";
  EXPECT_FALSE(FindNumberMember(blanks, "port"));

  const std::string quotes(kSize, '"');
  EXPECT_FALSE(FindTextMember(quotes, "port", 0, LetterCase::Ignore));
}

}  // namespace
}  // namespace moorlak
