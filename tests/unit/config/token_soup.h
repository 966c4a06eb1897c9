// Random texts composed of a pattern's pieces, short enough for std::regex, and the result of std::regex on them.
#pragma once

#include <optional>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "text/text_scan.h"

namespace moorlak {

inline std::string TokenSoup(std::mt19937& random, const std::vector<std::string>& tokens, size_t maxTokens) {
  std::string soup;
  for (size_t count = random() % (maxTokens + 1); count > 0; --count) soup += tokens[random() % tokens.size()];
  return soup;
}

// One match as plain values, so that a failed comparison prints the difference.
struct PlainMatch {
  size_t begin = kNotFound;
  size_t end = kNotFound;
  std::string group;

  bool operator==(const PlainMatch&) const = default;
};

inline void PrintTo(const PlainMatch& match, std::ostream* out) {
  *out << '[' << match.begin << ", " << match.end << ") group \"" << match.group << '"';
}

inline PlainMatch RegexMatch(const std::string& text, const std::regex& pattern) {
  std::smatch match;
  if (!std::regex_search(text, match, pattern)) return {};
  const auto begin = static_cast<size_t>(match.position(0));
  return {begin, begin + static_cast<size_t>(match.length(0)), match.size() > 1 ? match[1].str() : std::string()};
}

inline PlainMatch Plain(const std::optional<TextMatch>& match) {
  if (!match) return {};
  return {match->begin, match->end, std::string(match->group)};
}

}  // namespace moorlak
