// Searches for several names in one pass over the text, which costs little more than searching for one. The names are
// known at compile time: an array with static storage duration of at most 31 names of 3 to 48 bytes each, without
// quotes.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "text/byte_blocks.h"
#include "text/byte_search.h"

namespace moorlak {

// A bit for each name.
using NameSet = uint32_t;

// For each byte, the names that have it (in either letter case) at the place that `pick` selects.
template <const auto& kNames, typename Pick>
constexpr std::array<NameSet, 256> NamesByByte(Pick pick) {
  std::array<NameSet, 256> sets{};
  for (size_t byte = 0; byte < sets.size(); ++byte) {
    for (size_t name = 0; name < kNames.size(); ++name) {
      if (FoldLetter(pick(kNames[name])) == FoldLetter(static_cast<char>(byte))) sets[byte] |= NameSet{1} << name;
    }
  }
  return sets;
}

// As an index.
inline size_t Byte(char byte) {
  return static_cast<unsigned char>(byte);
}

inline size_t FirstOf(NameSet names) {
  return static_cast<size_t>(std::countr_zero(names));
}

// The first and the last position of a key; both kNotFound if there is none.
struct KeySpan {
  size_t first = kNotFound;
  size_t last = kNotFound;
};

// The distance from the quote that opens the longest name to the one that closes it.
template <const auto& kNames>
constexpr size_t LongestReach() {
  size_t longest = 0;
  for (const std::string_view name : kNames) longest = std::max(longest, name.size() + 1);
  return longest;
}

// The quotes of a block that are followed by another quote where the closing quote of a name would be.
template <const auto& kNames, size_t... kName>
uint64_t QuotesAround(uint64_t quotes, std::index_sequence<kName...>) {
  return quotes & ((quotes >> (kNames[kName].size() + 1)) | ...);
}

// The step from one block to the next: a name that begins within the step also ends in the block.
template <const auto& kNames>
inline constexpr size_t kStepOfNames = kBlock - LongestReach<kNames>();

// The quotes that may open one of the names, in the first block that has any, at or after a position. A separate
// function, so that the loop keeps its values in registers.
template <const auto& kNames>
[[gnu::noinline]] BlockPlaces FindBeginsOfNames(std::string_view text, size_t from) {
  constexpr auto kNumbers = std::make_index_sequence<kNames.size()>();
  constexpr uint64_t kPlaces = (uint64_t{1} << kStepOfNames<kNames>)-1;
  for (size_t block = from; block < text.size(); block += kStepOfNames<kNames>) {
    const uint64_t places = QuotesAround<kNames>(QuotesOf(text, block), kNumbers) & kPlaces;
    if (places != 0) return {block, places};
  }
  return {};
}

// Where `"name"` occurs, quotes included and in exactly this letter case; in the order of the names.
template <const auto& kNames>
std::array<KeySpan, kNames.size()> FindKeySpans(std::string_view text) {
  static constexpr auto kByFirst = NamesByByte<kNames>([](std::string_view name) { return name[0]; });
  static constexpr auto kBySecond = NamesByByte<kNames>([](std::string_view name) { return name[1]; });
  std::array<KeySpan, kNames.size()> spans;
  for (auto found = FindBeginsOfNames<kNames>(text, 0); found.places != 0;
       found = FindBeginsOfNames<kNames>(text, found.block + kStepOfNames<kNames>)) {
    for (uint64_t places = found.places; places != 0; places &= places - 1) {
      const size_t position = found.block + static_cast<size_t>(std::countr_zero(places));
      // Each of these places is followed by another quote at least two bytes later.
      const std::string_view behind = text.substr(position + 1);
      for (NameSet names = kByFirst[Byte(behind[0])] & kBySecond[Byte(behind[1])]; names != 0; names &= names - 1) {
        const size_t name = FirstOf(names);
        const size_t size = kNames[name].size();
        if (behind.size() <= size || behind[size] != '"' || !behind.starts_with(kNames[name])) continue;
        spans[name].first = std::min(spans[name].first, position);
        spans[name].last = position;
      }
    }
  }
  return spans;
}

template <size_t kCount>
struct FirstNames {
  std::array<size_t, kCount> members;
  size_t key = kNotFound;
};

// For each name, the first `"name"` in any letter case that is followed by a blank or a colon, so that a member may
// continue: the first match of the member's pattern is not before it. For the key, the first `"key"` in exactly this
// letter case, whatever follows. kNotFound for what does not occur. Stops once all are found.
template <const auto& kNames>
FirstNames<kNames.size()> FindFirstNames(std::string_view text, std::string_view key) {
  static constexpr auto kByLast = NamesByByte<kNames>([](std::string_view name) { return name.back(); });
  static constexpr auto kByNext = NamesByByte<kNames>([](std::string_view name) { return name[name.size() - 2]; });
  FirstNames<kNames.size()> first;
  first.members.fill(kNotFound);
  NameSet missing = (NameSet{1} << kNames.size()) - 1;
  for (auto found = FindQuotesOfNames(text, 0, key.front()); found.places != 0;
       found = FindQuotesOfNames(text, found.block + kBlock, key.front())) {
    for (uint64_t places = found.places; places != 0; places &= places - 1) {
      const size_t quote = found.block + static_cast<size_t>(std::countr_zero(places));
      const std::string_view behind = text.substr(quote + 1);
      if (behind.front() == key.front()) {
        if (first.key == kNotFound && behind.size() > key.size() && behind[key.size()] == '"' &&
            behind.starts_with(key))
          first.key = quote;
        continue;
      }
      if (quote < 2) continue;
      const std::string_view before = text.substr(0, quote);
      for (NameSet names = kByLast[Byte(text[quote - 1])] & kByNext[Byte(text[quote - 2])] & missing; names != 0;
           names &= names - 1) {
        const size_t name = FirstOf(names);
        const size_t size = kNames[name].size();
        if (before.size() <= size || before[before.size() - size - 1] != '"') continue;
        if (!SameBytes(before.substr(before.size() - size), kNames[name], LetterCase::Ignore)) continue;
        first.members[name] = before.size() - size - 1;
        missing &= ~(NameSet{1} << name);
      }
    }
    if (missing == 0 && first.key != kNotFound) break;
  }
  return first;
}

}  // namespace moorlak
