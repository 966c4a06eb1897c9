#include "config/allow_insecure.h"

#include <algorithm>
#include <cstring>

#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kKey = "allowInsecure";
constexpr size_t kQuotedKeySize = kKey.size() + 2;

// The position after \s*:\s*(true|false|1|0), given the key's.
size_t MatchMember(std::string_view text, size_t key) {
  const size_t value = MatchColon(text, key + kQuotedKeySize);
  if (value == kNotFound) return kNotFound;
  return MatchAnyLiteral(text, value, {"true", "false", "1", "0"}, LetterCase::Ignore);
}

// Where keys can be: each ends at or before `end`.
struct KeyRange {
  size_t end;
  // The end of the last key found.
  size_t seen = 0;
};

size_t FindKeyIn(std::string_view text, KeyRange& range, size_t from) {
  const size_t key = FindKey(text.substr(0, range.end), kKey, from, LetterCase::Ignore);
  if (key != kNotFound) range.seen = key + kQuotedKeySize;
  return key;
}

// The first match of one of the three patterns at or after a position.
using Finder = std::optional<TextMatch> (*)(std::string_view text, KeyRange& range, size_t from);

// ,\s*"allowInsecure"\s*:\s*(true|false|1|0)
// Searches for the key, which is rarer than a comma, then looks back over blanks for the comma.
std::optional<TextMatch> FindWithCommaBefore(std::string_view text, KeyRange& range, size_t from) {
  for (size_t key = FindKeyIn(text, range, from); key != kNotFound; key = FindKeyIn(text, range, key + 1)) {
    size_t afterComma = key;
    while (afterComma > from && IsBlank(text[afterComma - 1])) --afterComma;
    if (afterComma == from || text[afterComma - 1] != ',') continue;
    const size_t end = MatchMember(text, key);
    if (end != kNotFound) return TextMatch{afterComma - 1, end, {}};
  }
  return std::nullopt;
}

// "allowInsecure"\s*:\s*(true|false|1|0)\s*,
std::optional<TextMatch> FindWithTrailingComma(std::string_view text, KeyRange& range, size_t from) {
  for (size_t key = FindKeyIn(text, range, from); key != kNotFound; key = FindKeyIn(text, range, key + 1)) {
    const size_t end = MatchMember(text, key);
    if (end == kNotFound) continue;
    const size_t comma = SkipBlanks(text, end);
    if (comma < text.size() && text[comma] == ',') return TextMatch{key, comma + 1, {}};
  }
  return std::nullopt;
}

// "allowInsecure"\s*:\s*(true|false|1|0)
std::optional<TextMatch> FindAlone(std::string_view text, KeyRange& range, size_t from) {
  for (size_t key = FindKeyIn(text, range, from); key != kNotFound; key = FindKeyIn(text, range, key + 1)) {
    const size_t end = MatchMember(text, key);
    if (end != kNotFound) return TextMatch{key, end, {}};
  }
  return std::nullopt;
}

// Removes the matches. Sets the range to where keys can be afterwards: those that did not match, and those that formed
// when a match between two halves was removed.
void RemoveAll(std::string& text, KeyRange& range, Finder find) {
  size_t kept = 0;
  size_t position = 0;
  // Only bytes before `position` are overwritten, and finders do not read these.
  while (const auto match = find(text, range, position)) {
    std::memmove(text.data() + kept, text.data() + position, match->begin - position);
    kept += match->begin - position;
    position = match->end;
  }
  const size_t removed = position - kept;
  text.erase(kept, removed);
  range = {std::max(range.seen, position) - removed + kQuotedKeySize};
}

}  // namespace

std::string StripAllowInsecure(std::string text) {
  KeyRange range{text.size()};
  // The order matters: a comma before the member goes first, so the second pass sees only members that open an object.
  for (const Finder find : {FindWithCommaBefore, FindWithTrailingComma, FindAlone}) RemoveAll(text, range, find);
  return text;
}

}  // namespace moorlak
