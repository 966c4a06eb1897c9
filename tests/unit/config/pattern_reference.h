// What std::regex makes of a text. Its engine recurses for every byte: the texts have to stay within some kilobytes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/byte_search.h"
#include "unit/config/token_soup.h"

namespace moorlak {

// An ECMAScript pattern; the expression is a string literal.
struct Pattern {
  const char* expression = "";
  LetterCase letterCase = LetterCase::Exact;
};

// Every match from the text's begin to its end, each with its first group (empty when the pattern has none).
std::vector<PlainMatch> MatchesOf(const Pattern& pattern, const std::string& text);

// The text with every match replaced by the same literal text.
std::string ReplaceMatchesOf(const Pattern& pattern, const std::string& text, std::string_view replacement);

// True when the whole text is one match.
bool IsMatchOf(const Pattern& pattern, const std::string& text);

}  // namespace moorlak
