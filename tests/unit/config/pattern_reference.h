// The results of std::regex on a text. Its engine recurses for every byte, so texts must stay below a few kilobytes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "text/byte_search.h"
#include "unit/config/token_soup.h"

namespace moorlak {

// An ECMAScript pattern. The expression must be a string literal.
struct Pattern {
  const char* expression = "";
  LetterCase letterCase = LetterCase::Exact;
};

// All matches from begin to end, each with its first group (empty if the pattern has none).
std::vector<PlainMatch> MatchesOf(const Pattern& pattern, const std::string& text);

// The text with every match replaced by the same literal text.
std::string ReplaceMatchesOf(const Pattern& pattern, const std::string& text, std::string_view replacement);

// True if the whole text is one match.
bool IsMatchOf(const Pattern& pattern, const std::string& text);

}  // namespace moorlak
