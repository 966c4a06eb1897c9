// Linear scanners over configuration text. The text is up to 16 MiB and may be hostile, so no function here recurses or
// backtracks, or looks at a byte more than a fixed number of times in one call. The comment of each scanner gives the
// ECMAScript pattern that it equals (in the C locale, over bytes); the tests compare the two.
//
// Positions are byte offsets; kNotFound means "no match". A key is given without its quotes and contains no quote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/byte_search.h"

namespace moorlak {

// The bytes [begin, end) of a match and the content of its group; the group points into the text.
struct TextMatch {
  size_t begin = 0;
  size_t end = 0;
  std::string_view group;
};

bool IsBlank(char byte);  // \s: the bytes 09 to 0D and 20
bool IsDigit(char byte);  // \d

// The position after `\s*` or `\d*` at a position.
size_t SkipBlanks(std::string_view text, size_t position);
size_t SkipDigits(std::string_view text, size_t position);

// The position after the literal at exactly this position.
size_t MatchLiteral(std::string_view text, size_t position, std::string_view literal, LetterCase letterCase);

// (a|b|...) at exactly this position: the position after the first literal of the list that matches.
size_t MatchAnyLiteral(std::string_view text, size_t position, std::initializer_list<std::string_view> literals,
                       LetterCase letterCase);

// \s*:\s* at exactly this position: the position after it.
size_t MatchColon(std::string_view text, size_t position);

// "key"\s*:\s* at exactly this position: the position of the value.
size_t MatchMemberHead(std::string_view text, size_t position, std::string_view key, LetterCase letterCase);

// The first "key" (with its quotes) at or after a position: the position of its first quote.
size_t FindKey(std::string_view text, std::string_view key, size_t from, LetterCase letterCase);
// Whether the text contains "key".
bool ContainsKey(std::string_view text, std::string_view key);

// The functions below return the first match at or after a position.
std::optional<TextMatch> FindNumberMember(std::string_view text, std::string_view key, size_t from = 0,
                                          LetterCase letterCase = LetterCase::Exact);
// "key"\s*:\s*"([^"]*)"
std::optional<TextMatch> FindTextMember(std::string_view text, std::string_view key, size_t from = 0,
                                        LetterCase letterCase = LetterCase::Exact);
// "key"\s*:\s*"([^"]+)"
std::optional<TextMatch> FindFilledTextMember(std::string_view text, std::string_view key, size_t from = 0,
                                              LetterCase letterCase = LetterCase::Exact);
// "key"\s*:\s*"(?:a|b|...)" (the values hold no quote; the group is the value)
std::optional<TextMatch> FindMemberWithText(std::string_view text, std::string_view key,
                                            std::initializer_list<std::string_view> values, size_t from = 0,
                                            LetterCase letterCase = LetterCase::Exact);
// "key"\s*:\s*\[([^\]]*)\]
std::optional<TextMatch> FindListMember(std::string_view text, std::string_view key, size_t from = 0,
                                        LetterCase letterCase = LetterCase::Exact);

// The items of a list's content, to be iterated from match to match.
std::optional<TextMatch> FindQuotedItem(std::string_view list, size_t from);
// (\d{1,5})
std::optional<TextMatch> FindShortNumber(std::string_view list, size_t from);
// "(\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3})"
std::optional<TextMatch> FindQuotedAddress(std::string_view list, size_t from);

// HEAD[\s\S]{0,longestGap}?TAIL, or HEAD[\s\S]*?TAIL without a limit. The head and the tail have their own scanners.
// The gap is counted from the end of the head to the beginning of the tail, limit included.
using Scanner = std::optional<TextMatch> (*)(std::string_view text, size_t from);
inline constexpr size_t kAnyGap = kNotFound;
struct GapPattern {
  Scanner head;
  Scanner tail;
  size_t longestGap;
};
struct GapMatch {
  TextMatch head;
  TextMatch tail;
};
std::optional<GapMatch> FindAcrossGap(std::string_view text, const GapPattern& pattern, size_t from);

// \d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3} at exactly this position: the position after it.
size_t MatchDottedQuad(std::string_view text, size_t position);

// ^\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3}$
bool IsDottedQuad(std::string_view text);

// The whole text as a decimal number; leading zeros are allowed. nullopt if it is empty, contains anything but digits
// or exceeds the largest value.
std::optional<uint64_t> ParseDecimal(std::string_view digits, uint64_t largest);

// The part after the last `\` or `/`; the whole path if it has neither.
std::string_view BaseName(std::string_view path);

}  // namespace moorlak
