// Several keys looked for in one pass over the text, which costs little more than looking for one of them. The keys are
// known when the program is built: an array of static storage duration, each of 1 to 62 bytes, without quotes. What is
// found is `"key"` with its quotes, as FindKey of config/text_scan.h finds it.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "config/quote_mask.h"
#include "config/text_scan.h"

namespace moorlak {

// A set bit where a quote stands which would close one of the keys.
template <const auto& kNames, size_t... kKey>
uint64_t QuotesBehindKeys(const QuotePair& quotes, std::index_sequence<kKey...>) {
  return (quotes.Ahead(kNames[kKey].size() + 1) | ...);
}

// Calls visit(number of the key, position) for each place of a key until it returns false; within a block of bytes in
// the order of the positions, each with one key.
template <const auto& kNames, typename Visitor>
void VisitKeys(std::string_view text, LetterCase letterCase, Visitor visit) {
  constexpr auto kNumbers = std::make_index_sequence<kNames.size()>();
  QuotePair quotes{QuotesOf(text, 0), 0};
  for (size_t block = 0; block < text.size(); block += kQuoteBlock, quotes.here = quotes.behind) {
    quotes.behind = QuotesOf(text, block + kQuoteBlock);
    // What is compared with the keys begins with a quote, does not go on with one, and has one where a key would close:
    // few places of a real text, and at most every second one of any text.
    for (uint64_t places = quotes.here & ~quotes.Ahead(1) & QuotesBehindKeys<kNames>(quotes, kNumbers); places != 0;
         places &= places - 1) {
      const size_t position = block + static_cast<size_t>(std::countr_zero(places));
      const char first = FoldLetter(text[position + 1]);
      for (size_t key = 0; key < kNames.size(); ++key) {
        if (FoldLetter(kNames[key].front()) != first) continue;
        const size_t end = MatchLiteral(text, position + 1, kNames[key], letterCase);
        if (end < text.size() && text[end] == '"' && !visit(key, position)) return;
      }
    }
  }
}

// The positions of the first and the last place of a key; both kNotFound when there is none.
struct KeySpan {
  size_t first = kNotFound;
  size_t last = kNotFound;
};

// In the order of the keys.
template <const auto& kNames>
std::array<KeySpan, kNames.size()> FindKeySpans(std::string_view text, LetterCase letterCase) {
  std::array<KeySpan, kNames.size()> spans;
  VisitKeys<kNames>(text, letterCase, [&spans](size_t key, size_t position) {
    spans[key].first = std::min(spans[key].first, position);
    spans[key].last = position;
    return true;
  });
  return spans;
}

// The first places only, kNotFound for a key without one. The pass ends where all of them are found.
template <const auto& kNames>
std::array<size_t, kNames.size()> FindFirstKeys(std::string_view text, LetterCase letterCase) {
  std::array<size_t, kNames.size()> positions;
  positions.fill(kNotFound);
  size_t missing = kNames.size();
  VisitKeys<kNames>(text, letterCase, [&positions, &missing](size_t key, size_t position) {
    if (positions[key] != kNotFound) return true;
    positions[key] = position;
    return --missing != 0;
  });
  return positions;
}

}  // namespace moorlak
