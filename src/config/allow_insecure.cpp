#include "config/allow_insecure.h"

#include "config/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kKey = "allowInsecure";

// "allowInsecure"\s*:\s*(true|false|1|0)
size_t MatchMember(std::string_view text, size_t position) {
  const size_t value = MatchMemberHead(text, position, kKey, LetterCase::Ignore);
  if (value == kNotFound) return kNotFound;
  return MatchAnyLiteral(text, value, {"true", "false", "1", "0"}, LetterCase::Ignore);
}

// The first match of one of the three patterns at or behind a position.
using Finder = std::optional<TextMatch> (*)(std::string_view text, size_t from);

// ,\s*"allowInsecure"\s*:\s*(true|false|1|0)
// Looked for from its key, which is rarer than a comma: the comma, if any, stands behind the blanks before the key.
std::optional<TextMatch> FindWithCommaBefore(std::string_view text, size_t from) {
  for (size_t key = FindKey(text, kKey, from, LetterCase::Ignore); key != kNotFound;
       key = FindKey(text, kKey, key + 1, LetterCase::Ignore)) {
    size_t behindComma = key;
    while (behindComma > from && IsBlank(text[behindComma - 1])) --behindComma;
    if (behindComma == from || text[behindComma - 1] != ',') continue;
    const size_t end = MatchMember(text, key);
    if (end != kNotFound) return TextMatch{behindComma - 1, end, {}};
  }
  return std::nullopt;
}

// "allowInsecure"\s*:\s*(true|false|1|0)\s*,
std::optional<TextMatch> FindWithCommaBehind(std::string_view text, size_t from) {
  for (size_t key = FindKey(text, kKey, from, LetterCase::Ignore); key != kNotFound;
       key = FindKey(text, kKey, key + 1, LetterCase::Ignore)) {
    const size_t end = MatchMember(text, key);
    if (end == kNotFound) continue;
    const size_t comma = SkipBlanks(text, end);
    if (comma < text.size() && text[comma] == ',') return TextMatch{key, comma + 1, {}};
  }
  return std::nullopt;
}

// "allowInsecure"\s*:\s*(true|false|1|0)
std::optional<TextMatch> FindAlone(std::string_view text, size_t from) {
  for (size_t key = FindKey(text, kKey, from, LetterCase::Ignore); key != kNotFound;
       key = FindKey(text, kKey, key + 1, LetterCase::Ignore)) {
    const size_t end = MatchMember(text, key);
    if (end != kNotFound) return TextMatch{key, end, {}};
  }
  return std::nullopt;
}

std::string RemoveAll(std::string_view text, Finder find) {
  std::string kept;
  kept.reserve(text.size());
  size_t position = 0;
  while (const auto match = find(text, position)) {
    kept += text.substr(position, match->begin - position);
    position = match->end;
  }
  kept += text.substr(position);
  return kept;
}

}  // namespace

std::string StripAllowInsecure(std::string_view text) {
  // The order matters: a comma before the member goes first, so the second pass sees only members that open an object.
  return RemoveAll(RemoveAll(RemoveAll(text, FindWithCommaBefore), FindWithCommaBehind), FindAlone);
}

}  // namespace moorlak
