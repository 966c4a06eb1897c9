#include "text/key_search.h"

#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kLongest = "forty-eight bytes is what the longest name has..";
static_assert(kLongest.size() == 48);
constexpr std::array<std::string_view, 5> kNames{"tag", "Api", "aping", "stats", kLongest};
constexpr std::string_view kKey = "statsKey";

size_t LastKey(std::string_view text, std::string_view key) {
  size_t last = kNotFound;
  for (size_t at = FindKey(text, key, 0, LetterCase::Exact); at != kNotFound;
       at = FindKey(text, key, at + 1, LetterCase::Exact)) {
    last = at;
  }
  return last;
}

// The first "name" in any case that is followed by a colon or by a byte not greater than a space.
size_t FirstMember(std::string_view text, std::string_view name) {
  for (size_t at = FindKey(text, name, 0, LetterCase::Ignore); at != kNotFound;
       at = FindKey(text, name, at + 1, LetterCase::Ignore)) {
    const size_t end = at + name.size() + 2;
    if (end < text.size() && (text[end] == ':' || static_cast<unsigned char>(text[end]) <= ' ')) return at;
  }
  return kNotFound;
}

void ExpectWhatFindKeyFinds(std::string_view text) {
  const auto spans = FindKeySpans<kNames>(text);
  const auto firsts = FindFirstNames<kNames>(text, kKey);
  for (size_t name = 0; name < kNames.size(); ++name) {
    ASSERT_EQ(spans[name].first, FindKey(text, kNames[name], 0, LetterCase::Exact)) << kNames[name] << " in " << text;
    ASSERT_EQ(spans[name].last, LastKey(text, kNames[name])) << kNames[name] << " in " << text;
    ASSERT_EQ(firsts.members[name], FirstMember(text, kNames[name])) << kNames[name] << " in " << text;
  }
  ASSERT_EQ(firsts.key, FindKey(text, kKey, 0, LetterCase::Exact)) << text;
}

TEST(KeySearch, FindsANameAtEveryPlaceOfABlock) {
  for (const std::string_view name : {kNames[0], kNames[1], kNames[2], kNames[3], kNames[4], kKey}) {
    for (size_t before = 0; before < 2 * kBlock; ++before) {
      const std::string text = std::string(before, '"') + '"' + std::string(name) + '"';
      ExpectWhatFindKeyFinds(text);
      for (const char* behind : {":", " ", "\t:", ",", "\xD0"}) ExpectWhatFindKeyFinds(text + behind);
      ExpectWhatFindKeyFinds(text + ":" + std::string(before, '.'));
      ExpectWhatFindKeyFinds(std::string_view(text).substr(0, text.size() - 1));
    }
  }
}

TEST(KeySearch, FindsWhatSingleSearchesFindInRandomTexts) {
  constexpr uint32_t kSeed = 20240611;
  constexpr std::string_view kPieces[] = {"\"",  "\"",    "a",        "API",          "Api",        "aping",
                                          "tag", "stats", ":",        "\"stats\":",   "\"TAG\" :",  "statsKey",
                                          " ",   "\n",    "\"api\":", "\"statsKey\"", "\"Aping\":", ".........."};
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
