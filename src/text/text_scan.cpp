#include "text/text_scan.h"

#include <algorithm>
#include <charconv>

namespace moorlak {
namespace {

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
  const size_t close = FindByte(text, '"', position + 1);
  if (close == kNotFound) return std::nullopt;
  return TextMatch{position, close + 1, text.substr(position + 1, close - position - 1)};
}

std::optional<TextMatch> MatchFilledText(std::string_view text, size_t position) {
  const std::optional<TextMatch> match = MatchText(text, position);
  return match && !match->group.empty() ? match : std::nullopt;
}

// A text that ends with a closing bracket: no colon's value is at its end, and every list in it is closed.
std::optional<TextMatch> MatchList(std::string_view text, size_t position) {
  if (text[position] != '[') return std::nullopt;
  const size_t close = FindByte(text, ']', position + 1);
  return TextMatch{position, close + 1, text.substr(position + 1, close - position - 1)};
}

// \d{1,longest} at exactly this position.
size_t MatchDigits(std::string_view text, size_t position, size_t longest) {
  const size_t end = SkipDigits(text.substr(0, std::min(text.size(), position + longest)), position);
  return end == position ? kNotFound : end;
}

// Linear although every key is tried: the blanks after one key end before the next key begins. After a text without a
// closing quote there is no further key; after a list without a closing bracket there is no complete list.
template <typename ValueMatcher>
std::optional<TextMatch> FindMember(std::string_view text, std::string_view key, size_t from, LetterCase letterCase,
                                    ValueMatcher matchValue) {
  for (size_t begin = FindKey(text, key, from, letterCase); begin != kNotFound;
       begin = FindKey(text, key, begin + 1, letterCase)) {
    const size_t valueBegin = MatchColon(text, begin + key.size() + 2);
    if (valueBegin == kNotFound) continue;
    const std::optional<TextMatch> value = matchValue(text, valueBegin);
    if (value) return TextMatch{begin, value->end, value->group};
  }
  return std::nullopt;
}

}  // namespace

// A dot is not a digit, so only the longest run of digits can continue the match.
size_t MatchDottedQuad(std::string_view text, size_t position) {
  for (int part = 0; part < 4; ++part) {
    if (part > 0) {
      if (position >= text.size() || text[position] != '.') return kNotFound;
      ++position;
    }
    position = MatchDigits(text, position, 3);
    if (position == kNotFound) return kNotFound;
  }
  return position;
}

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
  return SameBytes(text.substr(position, literal.size()), literal, letterCase) ? position + literal.size() : kNotFound;
}

size_t MatchAnyLiteral(std::string_view text, size_t position, std::initializer_list<std::string_view> literals,
                       LetterCase letterCase) {
  for (const std::string_view literal : literals) {
    const size_t end = MatchLiteral(text, position, literal, letterCase);
    if (end != kNotFound) return end;
  }
  return kNotFound;
}

size_t MatchColon(std::string_view text, size_t position) {
  const size_t colon = SkipBlanks(text, position);
  if (colon >= text.size() || text[colon] != ':') return kNotFound;
  return SkipBlanks(text, colon + 1);
}

size_t MatchMemberHead(std::string_view text, size_t position, std::string_view key, LetterCase letterCase) {
  const size_t keyEnd = MatchQuoted(text, position, key, letterCase);
  return keyEnd == kNotFound ? kNotFound : MatchColon(text, keyEnd);
}

size_t FindKey(std::string_view text, std::string_view key, size_t from, LetterCase letterCase) {
  if (from >= text.size()) return kNotFound;
  // Searches for the key without its quotes, which are frequent in the text.
  for (size_t begin = FindText(text, key, from + 1, letterCase); begin != kNotFound;
       begin = FindText(text, key, begin + 1, letterCase)) {
    const size_t end = begin + key.size();
    if (text[begin - 1] == '"' && end < text.size() && text[end] == '"') return begin - 1;
  }
  return kNotFound;
}

bool ContainsKey(std::string_view text, std::string_view key) {
  return FindKey(text, key, 0, LetterCase::Exact) != kNotFound;
}

std::optional<TextMatch> FindNumberMember(std::string_view text, std::string_view key, size_t from,
                                          LetterCase letterCase) {
  return FindMember(text, key, from, letterCase, MatchNumber);
}

std::optional<TextMatch> FindTextMember(std::string_view text, std::string_view key, size_t from,
                                        LetterCase letterCase) {
  return FindMember(text, key, from, letterCase, MatchText);
}

std::optional<TextMatch> FindFilledTextMember(std::string_view text, std::string_view key, size_t from,
                                              LetterCase letterCase) {
  return FindMember(text, key, from, letterCase, MatchFilledText);
}

std::optional<TextMatch> FindMemberWithText(std::string_view text, std::string_view key,
                                            std::initializer_list<std::string_view> values, size_t from,
                                            LetterCase letterCase) {
  const auto matchValue = [values, letterCase](std::string_view whole, size_t position) -> std::optional<TextMatch> {
    for (const std::string_view value : values) {
      const size_t end = MatchQuoted(whole, position, value, letterCase);
      if (end != kNotFound) return TextMatch{position, end, whole.substr(position + 1, value.size())};
    }
    return std::nullopt;
  };
  return FindMember(text, key, from, letterCase, matchValue);
}

std::optional<TextMatch> FindListMember(std::string_view text, std::string_view key, size_t from,
                                        LetterCase letterCase) {
  // Keys after the last closing bracket cannot have a complete list.
  const size_t lastClose = text.rfind(']');
  if (lastClose == kNotFound) return std::nullopt;
  return FindMember(text.substr(0, lastClose + 1), key, from, letterCase, MatchList);
}

std::optional<TextMatch> FindQuotedItem(std::string_view list, size_t from) {
  // Of two adjacent quotes, the second may open an item.
  for (size_t open = FindByte(list, '"', from); open != kNotFound;) {
    const size_t close = FindByte(list, '"', open + 1);
    if (close == kNotFound) return std::nullopt;
    if (close > open + 1) return TextMatch{open, close + 1, list.substr(open + 1, close - open - 1)};
    open = close;
  }
  return std::nullopt;
}

std::optional<TextMatch> FindShortNumber(std::string_view list, size_t from) {
  constexpr size_t kMaxDigits = 5;
  for (size_t begin = from; begin < list.size(); ++begin) {
    const size_t end = MatchDigits(list, begin, kMaxDigits);
    if (end != kNotFound) return TextMatch{begin, end, list.substr(begin, end - begin)};
  }
  return std::nullopt;
}

std::optional<TextMatch> FindQuotedAddress(std::string_view list, size_t from) {
  for (size_t open = FindByte(list, '"', from); open != kNotFound; open = FindByte(list, '"', open + 1)) {
    const size_t close = MatchDottedQuad(list, open + 1);
    if (close == kNotFound || close >= list.size() || list[close] != '"') continue;
    return TextMatch{open, close + 1, list.substr(open + 1, close - open - 1)};
  }
  return std::nullopt;
}

std::optional<GapMatch> FindAcrossGap(std::string_view text, const GapPattern& pattern, size_t from) {
  std::optional<TextMatch> tail;
  for (auto head = pattern.head(text, from); head; head = pattern.head(text, head->begin + 1)) {
    // The tail only moves forward: a tail after an earlier head is still the first one after this head if it does not
    // begin before this head's end.
    if (!tail || tail->begin < head->end) tail = pattern.tail(text, head->end);
    if (!tail) return std::nullopt;
    if (tail->begin - head->end <= pattern.longestGap) return GapMatch{*head, *tail};
  }
  return std::nullopt;
}

bool IsDottedQuad(std::string_view text) {
  return MatchDottedQuad(text, 0) == text.size();
}

std::optional<uint64_t> ParseDecimal(std::string_view digits, uint64_t largest) {
  if (digits.empty() || SkipDigits(digits, 0) != digits.size()) return std::nullopt;
  uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || value > largest) return std::nullopt;
  return value;
}

std::string_view BaseName(std::string_view path) {
  const size_t separator = path.find_last_of("\\/");
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

}  // namespace moorlak
