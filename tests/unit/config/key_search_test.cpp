#include "config/key_search.h"

#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace moorlak {
namespace {

constexpr std::array<std::string_view, 5> kNames{"a", "api", "Ape", "stats",
                                                 "sixty-two bytes is what the longest key may have, so this does"};
static_assert(kNames.back().size() == 62);

size_t LastKey(std::string_view text, std::string_view key, LetterCase letterCase) {
  size_t last = kNotFound;
  for (size_t at = FindKey(text, key, 0, letterCase); at != kNotFound; at = FindKey(text, key, at + 1, letterCase)) {
    last = at;
  }
  return last;
}

void ExpectWhatFindKeyFinds(std::string_view text) {
  for (const LetterCase letterCase : {LetterCase::Exact, LetterCase::Ignore}) {
    const auto spans = FindKeySpans<kNames>(text, letterCase);
    const auto firsts = FindFirstKeys<kNames>(text, letterCase);
    for (size_t key = 0; key < kNames.size(); ++key) {
      ASSERT_EQ(spans[key].first, FindKey(text, kNames[key], 0, letterCase)) << kNames[key] << " in " << text;
      ASSERT_EQ(spans[key].last, LastKey(text, kNames[key], letterCase)) << kNames[key] << " in " << text;
      ASSERT_EQ(firsts[key], spans[key].first) << kNames[key] << " in " << text;
    }
  }
}

TEST(KeySearch, FindsAKeyAtEveryPlaceOfABlock) {
  for (const std::string_view key : kNames) {
    for (size_t before = 0; before < 2 * kQuoteBlock; ++before) {
      const std::string text = std::string(before, '"') + '"' + std::string(key) + '"';
      ExpectWhatFindKeyFinds(text);
      ExpectWhatFindKeyFinds(text + std::string(before, '.'));
      ExpectWhatFindKeyFinds(std::string_view(text).substr(0, text.size() - 1));
    }
  }
}

TEST(KeySearch, FindsWhatSingleSearchesFindInRandomTexts) {
  constexpr uint32_t kSeed = 20240611;
  constexpr std::string_view kPieces[] = {"\"",    "\"", "a",         "API",   "api",       "ape",
                                          "stats", ":",  "\"stats\"", "\"a\"", ".........."};
  std::mt19937 random(kSeed);
  for (int round = 0; round < 5000; ++round) {
    std::string text;
    for (size_t count = random() % 60; count > 0; --count) text += kPieces[random() % std::size(kPieces)];
    ASSERT_NO_FATAL_FAILURE(ExpectWhatFindKeyFinds(text)) << "seed " << kSeed << ", round " << round;
  }
}

TEST(KeySearch, FindsNothingInAnEmptyText) {
  ExpectWhatFindKeyFinds("");
}

}  // namespace
}  // namespace moorlak
