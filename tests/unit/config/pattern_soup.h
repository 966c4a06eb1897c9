// Random texts made for one pattern, and the loop that compares a scanner with the pattern on them.
#pragma once

#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "unit/config/pattern_reference.h"

namespace moorlak {

// Random texts of one kind are the same in every run.
inline constexpr uint32_t kSoupSeed = 20261121;

// The code of both builds is the same; under Wine, where the debug build is slower, a part of the rounds shows that the
// Windows build agrees as well.
#ifdef _WIN32
inline constexpr int kSoupRounds = 20'000;
#else
inline constexpr int kSoupRounds = 200'000;
#endif

// Of so many rounds one is of a text whose gap is about as long as the limit allows.
inline constexpr int kRoundsPerNearLimit = 20;

// What the texts for a pattern are made of.
struct Soup {
  std::vector<std::string> tokens;
  size_t mostTokens = 24;
  // For a pattern HEAD[\s\S]{0,longestGap}?TAIL: complete heads and tails (some all but complete) that are put so far
  // apart that the gap is the longest one, one byte shorter or one byte longer. No heads: the pattern has no such gap.
  std::vector<std::string> heads;
  std::vector<std::string> tails;
  size_t longestGap = 0;
};

// The text of a round.
std::string NextText(std::mt19937& random, const Soup& soup, int round);

// Every match of a scanner, from match to match.
using AllMatches = std::function<std::vector<PlainMatch>(const std::string& text)>;

struct Difference {
  int round = 0;
  std::string text;
  std::vector<PlainMatch> expected;
  std::vector<PlainMatch> found;
};

struct ComparisonResult {
  int texts = 0;
  int textsWithMatch = 0;
  int textsWithSeveral = 0;
  int nearLimitTexts = 0;
  int nearLimitTextsWithMatch = 0;
  // The first one; the comparison ends there.
  std::optional<Difference> difference;
};

ComparisonResult CompareWithPattern(const Pattern& pattern, const Soup& soup, const AllMatches& scan, int rounds);

// With bytes that no terminal shows as escapes.
std::string Printable(std::string_view text);
// Seed, round and text, for a failed comparison.
std::string Describe(int round, std::string_view text);

}  // namespace moorlak
