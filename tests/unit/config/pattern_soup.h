// Random texts made for one pattern, and the loop that compares a scanner with the pattern on them.
#pragma once

#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "unit/config/pattern_reference.h"

namespace moorlak {

// Fixed seed: every run uses the same random texts.
inline constexpr uint32_t kSoupSeed = 20261121;

// Both builds have the same code. Under Wine, where the debug build is slower, some of the rounds are enough to show
// that the Windows build agrees.
#ifdef _WIN32
inline constexpr int kSoupRounds = 20'000;
#else
inline constexpr int kSoupRounds = 200'000;
#endif

// One round in this many uses a text whose gap is about as long as the limit allows.
inline constexpr int kRoundsPerNearLimit = 20;

// The material of the texts for a pattern.
struct Soup {
  std::vector<std::string> tokens;
  size_t maxTokens = 24;
  // For a pattern HEAD[\s\S]{0,longestGap}?TAIL: complete heads and tails (some nearly complete), placed so that the
  // gap is the longest allowed one, one byte shorter or one byte longer. Without heads the pattern has no such gap.
  std::vector<std::string> heads;
  std::vector<std::string> tails;
  size_t longestGap = 0;
};

// The text for a round.
std::string NextText(std::mt19937& random, const Soup& soup, int round);

// All matches of a scanner, each search starting after the previous match.
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
  // The first difference; it ends the comparison.
  std::optional<Difference> difference;
};

ComparisonResult CompareWithPattern(const Pattern& pattern, const Soup& soup, const AllMatches& scan, int rounds);

// Bytes that a terminal does not show are written as escapes.
std::string Printable(std::string_view text);
// Seed, round and text, for a failed comparison.
std::string Describe(int round, std::string_view text);

}  // namespace moorlak
