#include "config/text_scan.h"

#include <charconv>

namespace moorlak {
namespace {

char FoldLetter(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

// "inner" at exactly this position.
size_t MatchQuoted(std::string_view text, size_t position, std::string_view inner, LetterCase letterCase) {
  if (position >= text.size() || text[position] != '"') return kNotFound;
  const size_t end = MatchLiteral(text, position + 1, inner, letterCase);
  return end != kNotFound && end < text.size() && text[end] == '"' ? end + 1 : kNotFound;
}

std::optional<TextMatch> MatchNumber(std::string_view text, size_t position) {
  const size_t end = SkipDigits(text, position);
  if (end == position) return std::nullopt;
  return TextMatch{position, end, text.substr(position, end - position)};
}

std::optional<TextMatch> MatchText(std::string_view text, size_t position) {
  if (position >= text.size() || text[position] != '"') return std::nullopt;
  const size_t close = text.find('"', position + 1);
  if (close == kNotFound) return std::nullopt;
  return TextMatch{position, close + 1, text.substr(position + 1, close - position - 1)};
}

// Linear although every key is tried: the blanks behind one key end before the next key begins, and a text without its
// closing quote has no further key behind it.
template <typename ValueMatcher>
std::optional<TextMatch> FindMember(std::string_view text, std::string_view key, size_t from, LetterCase letterCase,
                                    ValueMatcher matchValue) {
  for (size_t begin = FindKey(text, key, from, letterCase); begin != kNotFound;
       begin = FindKey(text, key, begin + 1, letterCase)) {
    const size_t valueBegin = MatchMemberHead(text, begin, key, letterCase);
    if (valueBegin == kNotFound) continue;
    const std::optional<TextMatch> value = matchValue(text, valueBegin);
    if (value) return TextMatch{begin, value->end, value->group};
  }
  return std::nullopt;
}

}  // namespace

bool IsBlank(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

bool IsDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

size_t SkipBlanks(std::string_view text, size_t position) {
  while (position < text.size() && IsBlank(text[position])) ++position;
  return position;
}

size_t SkipDigits(std::string_view text, size_t position) {
  while (position < text.size() && IsDigit(text[position])) ++position;
  return position;
}

size_t MatchLiteral(std::string_view text, size_t position, std::string_view literal, LetterCase letterCase) {
  if (position > text.size() || text.size() - position < literal.size()) return kNotFound;
  for (size_t i = 0; i < literal.size(); ++i) {
    const char here = text[position + i];
    if (here == literal[i]) continue;
    if (letterCase == LetterCase::Exact || FoldLetter(here) != FoldLetter(literal[i])) return kNotFound;
  }
  return position + literal.size();
}

size_t MatchAnyLiteral(std::string_view text, size_t position, std::initializer_list<std::string_view> literals,
                       LetterCase letterCase) {
  for (const std::string_view literal : literals) {
    const size_t end = MatchLiteral(text, position, literal, letterCase);
    if (end != kNotFound) return end;
  }
  return kNotFound;
}

size_t MatchMemberHead(std::string_view text, size_t position, std::string_view key, LetterCase letterCase) {
  const size_t keyEnd = MatchQuoted(text, position, key, letterCase);
  if (keyEnd == kNotFound) return kNotFound;
  const size_t colon = SkipBlanks(text, keyEnd);
  if (colon >= text.size() || text[colon] != ':') return kNotFound;
  return SkipBlanks(text, colon + 1);
}

size_t FindKey(std::string_view text, std::string_view key, size_t from, LetterCase letterCase) {
  for (size_t quote = text.find('"', from); quote != kNotFound; quote = text.find('"', quote + 1)) {
    if (MatchQuoted(text, quote, key, letterCase) != kNotFound) return quote;
  }
  return kNotFound;
}

std::optional<TextMatch> FindNumberMember(std::string_view text, std::string_view key, size_t from,
                                          LetterCase letterCase) {
  return FindMember(text, key, from, letterCase, MatchNumber);
}

std::optional<TextMatch> FindTextMember(std::string_view text, std::string_view key, size_t from,
                                        LetterCase letterCase) {
  return FindMember(text, key, from, letterCase, MatchText);
}

std::optional<TextMatch> FindMemberWithText(std::string_view text, std::string_view key, std::string_view value,
                                            size_t from, LetterCase letterCase) {
  const auto matchValue = [value, letterCase](std::string_view whole, size_t position) -> std::optional<TextMatch> {
    const size_t end = MatchQuoted(whole, position, value, letterCase);
    if (end == kNotFound) return std::nullopt;
    return TextMatch{position, end, {}};
  };
  return FindMember(text, key, from, letterCase, matchValue);
}

std::optional<uint64_t> ParseDecimal(std::string_view digits, uint64_t largest) {
  if (digits.empty() || SkipDigits(digits, 0) != digits.size()) return std::nullopt;
  uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || value > largest) return std::nullopt;
  return value;
}

}  // namespace moorlak
