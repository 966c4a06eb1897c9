#include "unit/config/pattern_soup.h"

#include <iomanip>
#include <sstream>

namespace moorlak {
namespace {

const std::string& OneOf(std::mt19937& random, const std::vector<std::string>& tokens) {
  return tokens[random() % tokens.size()];
}

bool IsNearLimitRound(const Soup& soup, int round) {
  return !soup.heads.empty() && round % kRoundsPerNearLimit == 0;
}

std::string NearLimitText(std::mt19937& random, const Soup& soup) {
  constexpr size_t kFewTokens = 5;
  const size_t length = soup.longestGap - 1 + random() % 3;
  std::string gap;
  if (random() % 4 == 0) gap = TokenSoup(random, soup.tokens, kFewTokens);
  // Each filler is one kind of byte, so that the gap looks like text, white space, quotes or no text at all.
  constexpr char kFillers[] = {'x', 'x', ' ', '\n', '\v', '"', '\\', '7', '\0', '\x80', '\xFF'};
  gap.resize(length, kFillers[random() % sizeof(kFillers)]);
  return TokenSoup(random, soup.tokens, kFewTokens) + OneOf(random, soup.heads) + gap + OneOf(random, soup.tails) +
         TokenSoup(random, soup.tokens, kFewTokens);
}

}  // namespace

std::string NextText(std::mt19937& random, const Soup& soup, int round) {
  return IsNearLimitRound(soup, round) ? NearLimitText(random, soup) : TokenSoup(random, soup.tokens, soup.maxTokens);
}

ComparisonResult CompareWithPattern(const Pattern& pattern, const Soup& soup, const AllMatches& scan, int rounds) {
  ComparisonResult result;
  std::mt19937 random(kSoupSeed);
  for (int round = 0; round < rounds; ++round) {
    const std::string text = NextText(random, soup, round);
    std::vector<PlainMatch> expected = MatchesOf(pattern, text);
    std::vector<PlainMatch> found = scan(text);
    ++result.texts;
    result.textsWithMatch += !expected.empty();
    result.textsWithSeveral += expected.size() > 1;
    result.nearLimitTexts += IsNearLimitRound(soup, round);
    result.nearLimitTextsWithMatch += IsNearLimitRound(soup, round) && !expected.empty();
    if (found == expected) continue;
    result.difference = Difference{round, text, std::move(expected), std::move(found)};
    break;
  }
  return result;
}

std::string Printable(std::string_view text) {
  std::ostringstream out;
  out << std::hex << std::setfill('0');
  for (const char byte : text) {
    const auto code = static_cast<unsigned char>(byte);
    if (code < 0x20 || code >= 0x7F) {
      out << "\\x" << std::setw(2) << static_cast<unsigned>(code);
    } else {
      out << byte;
    }
  }
  return out.str();
}

std::string Describe(int round, std::string_view text) {
  return "seed " + std::to_string(kSoupSeed) + ", round " + std::to_string(round) + ", " + std::to_string(text.size()) +
         " bytes: " + Printable(text);
}

}  // namespace moorlak
