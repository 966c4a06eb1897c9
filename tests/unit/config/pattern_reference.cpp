#include "unit/config/pattern_reference.h"

#include <map>
#include <regex>
#include <utility>

namespace moorlak {
namespace {

struct CompiledPattern {
  std::regex expression;
  // The quoted key at the start of every match; empty if the expression does not begin with one.
  std::string key;
};

std::string LeadingKey(const Pattern& pattern) {
  std::smatch match;
  const std::string expression = pattern.expression;
  if (pattern.letterCase == LetterCase::Ignore) return {};
  return std::regex_search(expression, match, std::regex("^\"\\w+\"")) ? match.str() : std::string();
}

// Compiled once per pattern: a gap of 2000 bytes is 2000 states, and compiling them costs more than a search.
const CompiledPattern& Compiled(const Pattern& pattern) {
  static std::map<std::pair<const char*, LetterCase>, CompiledPattern> compiled;
  const std::pair<const char*, LetterCase> key(pattern.expression, pattern.letterCase);
  const auto known = compiled.find(key);
  if (known != compiled.end()) return known->second;
  const auto flags =
      pattern.letterCase == LetterCase::Ignore ? std::regex::ECMAScript | std::regex::icase : std::regex::ECMAScript;
  return compiled.emplace(key, CompiledPattern{std::regex(pattern.expression, flags), LeadingKey(pattern)})
      .first->second;
}

}  // namespace

std::vector<PlainMatch> MatchesOf(const Pattern& pattern, const std::string& text) {
  std::vector<PlainMatch> matches;
  const CompiledPattern& compiled = Compiled(pattern);
  // Skips most of the texts that were made for another expression.
  if (text.find(compiled.key) == std::string::npos) return matches;
  const char* const begin = text.data();
  for (std::cregex_iterator match(begin, begin + text.size(), compiled.expression), end; match != end; ++match) {
    const auto at = static_cast<size_t>((*match)[0].first - begin);
    matches.push_back(
        {at, at + static_cast<size_t>(match->length(0)), match->size() > 1 ? (*match)[1].str() : std::string()});
  }
  return matches;
}

std::string ReplaceMatchesOf(const Pattern& pattern, const std::string& text, std::string_view replacement) {
  return std::regex_replace(text, Compiled(pattern).expression, std::string(replacement));
}

bool IsMatchOf(const Pattern& pattern, const std::string& text) {
  return std::regex_match(text, Compiled(pattern).expression);
}

}  // namespace moorlak
