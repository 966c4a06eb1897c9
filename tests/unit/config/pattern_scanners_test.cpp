// Every scanner compared with the expression that it implements, on random texts made for it.
#include <gtest/gtest.h>

#include "unit/config/pattern_cases.h"

namespace moorlak {
namespace {

class PatternScanners : public testing::TestWithParam<PatternCase> {};

TEST_P(PatternScanners, FindEveryMatchThatTheExpressionFinds) {
  const PatternCase& pattern = GetParam();
  const ComparisonResult result = CompareWithPattern(pattern.pattern, pattern.soup, pattern.scan, kSoupRounds);
  if (result.difference) {
    EXPECT_EQ(result.difference->found, result.difference->expected);
    FAIL() << Describe(result.difference->round, result.difference->text);
  }
  // Without matches the comparison would show nothing.
  EXPECT_GT(result.textsWithMatch, result.texts / 10);
  EXPECT_LT(result.textsWithMatch, result.texts - result.texts / 10);
  EXPECT_GT(result.textsWithSeveral, result.texts / 100);
  RecordProperty("texts", result.texts);
  RecordProperty("texts_with_match", result.textsWithMatch);
  if (pattern.soup.heads.empty()) return;
  EXPECT_GT(result.nearLimitTextsWithMatch, result.nearLimitTexts / 10);
  EXPECT_GE(result.nearLimitTexts, kSoupRounds / kRoundsPerNearLimit);
}

INSTANTIATE_TEST_SUITE_P(Config, PatternScanners, testing::ValuesIn(PatternCases()),
                         [](const auto& instance) { return instance.param.name; });

TEST(PatternScannersOfWholeTexts, ADottedQuadIsWhatTheExpressionSays) {
  const std::vector<std::string> tokens = {
      "1",   "23", "255", "999", "1234", ".", ".", ".", ".", " ", "\n", "a", "1.2.3.4", "1.2.3", std::string(1, '\0'),
      "\xFF"};
  const Pattern pattern{R"(^\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3}$)"};
  std::mt19937 random(kSoupSeed);
  int accepted = 0;
  for (int round = 0; round < kSoupRounds; ++round) {
    // Half of the texts are a dotted quad with at most one byte changed.
    std::string text = TokenSoup(random, tokens, 7);
    if (round % 2 == 0) {
      text = "12.0.255.7";
      text[random() % text.size()] = "0123456789..x\n \0\xFF"[random() % 17];
      if (random() % 4 == 0) text += tokens[random() % tokens.size()];
    }
    const bool expected = MatchesOf(pattern, text).size() == 1;
    ASSERT_EQ(IsDottedQuad(text), expected) << Describe(round, text);
    accepted += expected;
  }
  EXPECT_GT(accepted, kSoupRounds / 10);
}

}  // namespace
}  // namespace moorlak
