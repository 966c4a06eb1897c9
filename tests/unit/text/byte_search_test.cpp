#include "text/byte_search.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>

namespace moorlak {
namespace {

constexpr uint32_t kSeed = 20261121;

// A text that ends exactly where its memory ends, so that a checked build detects every read past the end. It may begin
// at any distance from a block's border.
struct ExactText {
  std::unique_ptr<char[]> memory;
  std::string_view text;
};

ExactText Exactly(const std::string& text, size_t distance) {
  ExactText exact{std::make_unique<char[]>(distance + text.size()), {}};
  text.copy(exact.memory.get() + distance, text.size());
  exact.text = {exact.memory.get() + distance, text.size()};
  return exact;
}

std::string RandomText(std::mt19937& random, std::string_view alphabet, size_t size) {
  std::string text(size, '\0');
  for (char& byte : text) byte = alphabet[random() % alphabet.size()];
  return text;
}

// Bytes that differ in one bit: letters of both cases, their neighbours, and bytes of 128 and more.
constexpr std::string_view kAlphabet{"aAbB@`[{\x02\"\0\xC1\xE1", 13};

size_t FindFolded(std::string_view text, std::string_view needle, size_t from) {
  const auto fold = [](std::string_view whole) {
    std::string folded(whole);
    for (char& byte : folded) {
      if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    }
    return folded;
  };
  return fold(text).find(fold(needle), from);
}

TEST(ByteSearch, AByteIsFoundAsByTheStandardLibraryAtEveryLengthAlignmentAndStart) {
  std::mt19937 random(kSeed);
  int found = 0;
  int missed = 0;
  for (size_t size = 0; size <= 67; ++size) {
    for (size_t distance = 0; distance < 16; ++distance) {
      const ExactText exact = Exactly(RandomText(random, kAlphabet, size), distance);
      const char byte = kAlphabet[random() % kAlphabet.size()];
      for (size_t from = 0; from <= size + 20; ++from) {
        const size_t expected = exact.text.find(byte, from);
        ASSERT_EQ(FindByte(exact.text, byte, from), expected)
            << "seed " << kSeed << ", size " << size << ", distance " << distance << ", from " << from;
        (expected == kNotFound ? missed : found) += 1;
      }
    }
  }
  EXPECT_GT(found, 10000);
  EXPECT_GT(missed, 10000);
}

TEST(ByteSearch, AByteIsFoundWhereverItIsAlone) {
  for (size_t size = 1; size <= 67; ++size) {
    for (size_t at = 0; at < size; ++at) {
      std::string text(size, 'x');
      text[at] = '\xFF';
      const ExactText exact = Exactly(text, size % 16);
      ASSERT_EQ(FindByte(exact.text, '\xFF', 0), at) << size;
      ASSERT_EQ(FindByte(exact.text, '\xFF', at), at) << size;
      ASSERT_EQ(FindByte(exact.text, '\xFF', at + 1), kNotFound) << size;
    }
  }
}

TEST(ByteSearch, AStartFarAfterTheTextFindsNothing) {
  const ExactText exact = Exactly("aaaaaaaaaaaaaaaaaaaa", 0);
  for (const size_t from : {size_t{20}, size_t{21}, kNotFound - 16, kNotFound - 1, kNotFound}) {
    EXPECT_EQ(FindByte(exact.text, 'a', from), kNotFound);
    EXPECT_EQ(FindText(exact.text, "a", from, LetterCase::Exact), kNotFound);
    EXPECT_EQ(FindText(exact.text, "a", from, LetterCase::Ignore), kNotFound);
  }
  EXPECT_EQ(FindByte({}, 'a', 0), kNotFound);
  EXPECT_EQ(FindText({}, "a", 0, LetterCase::Exact), kNotFound);
}

// With so small an alphabet, needles of various lengths are found in about half of the texts.
void CompareTexts(std::string_view alphabet, LetterCase letterCase) {
  std::mt19937 random(kSeed);
  int found = 0;
  int missed = 0;
  for (int round = 0; round < 60000; ++round) {
    const ExactText exact = Exactly(RandomText(random, alphabet, random() % 80), random() % 16);
    const size_t longest = random() % 8 == 0 ? 40 : 5;
    const ExactText needle = Exactly(RandomText(random, alphabet, 1 + random() % longest), random() % 16);
    const size_t from = random() % 4 == 0 ? random() % (exact.text.size() + 20) : 0;
    const size_t expected = letterCase == LetterCase::Exact ? exact.text.find(needle.text, from)
                                                            : FindFolded(exact.text, needle.text, from);
    ASSERT_EQ(FindText(exact.text, needle.text, from, letterCase), expected)
        << "seed " << kSeed << ", round " << round << ", from " << from << ", text size " << exact.text.size();
    (expected == kNotFound ? missed : found) += 1;
  }
  EXPECT_GT(found, 6000);
  EXPECT_GT(missed, 6000);
}

TEST(ByteSearch, ATextIsFoundAsByTheStandardLibrary) {
  CompareTexts("ab", LetterCase::Exact);
  CompareTexts(kAlphabet.substr(0, 4), LetterCase::Exact);
  CompareTexts(kAlphabet, LetterCase::Exact);
}

TEST(ByteSearch, ATextIsFoundInAnyLetterCaseWithOnlyLettersFolded) {
  CompareTexts("aAbB", LetterCase::Ignore);
  CompareTexts(kAlphabet.substr(0, 6), LetterCase::Ignore);
  CompareTexts(kAlphabet, LetterCase::Ignore);
}

TEST(ByteSearch, ATextIsFoundAtEveryPlaceAroundTheBordersOfBlocks) {
  const std::string needle = "Needle\xFF";
  for (size_t size = needle.size(); size <= 70; ++size) {
    for (size_t at = 0; at + needle.size() <= size; ++at) {
      // Near misses everywhere else: the needle's first and last bytes match, the rest does not.
      std::string text(size, 'N');
      for (size_t i = 0; i < size; i += 2) text[i] = '\xFF';
      text.replace(at, needle.size(), needle);
      const ExactText exact = Exactly(text, at % 16);
      ASSERT_EQ(FindText(exact.text, needle, 0, LetterCase::Exact), at) << size;
      ASSERT_EQ(FindText(exact.text, "nEEDLE\xFF", 0, LetterCase::Ignore), at) << size;
      ASSERT_EQ(FindText(exact.text, "nEEDLE\xFF", at + 1, LetterCase::Ignore), kNotFound) << size;
      ASSERT_EQ(FindText(exact.text, "nEEDLE\xFF", 0, LetterCase::Exact), kNotFound) << size;
    }
  }
}

TEST(ByteSearch, ANeedleLongerThanTheTextIsNotFound) {
  const ExactText exact = Exactly("abcabc", 3);
  EXPECT_EQ(FindText(exact.text, "abcabcd", 0, LetterCase::Exact), kNotFound);
  EXPECT_EQ(FindText(exact.text, "abcabc", 1, LetterCase::Exact), kNotFound);
  EXPECT_EQ(FindText(exact.text, "abcabc", 0, LetterCase::Exact), 0u);
}

// The byte after the text, or the rest of the needle, is in memory but does not belong to the text.
TEST(ByteSearch, NothingIsFoundAfterTheEndOfTheText) {
  for (size_t size = 1; size <= 3 * kBlock; ++size) {
    const std::string memory = std::string(size - 1, 'a') + "\":nb" + std::string(kBlock, 'b');
    const std::string_view text = std::string_view(memory).substr(0, size);
    for (size_t from = 0; from <= size; ++from) {
      ASSERT_EQ(FindByte(text, ':', from), kNotFound) << size;
      ASSERT_EQ(FindByte(text, 'b', from), kNotFound) << size;
      ASSERT_EQ(FindText(text, "\":", from, LetterCase::Exact), kNotFound) << size;
      ASSERT_EQ(FindText(text, "\":N", from, LetterCase::Ignore), kNotFound) << size;
    }
    ASSERT_EQ(FindQuotesOfNames(text, 0, 'n').places, 0u) << size;
  }
}

TEST(ByteSearch, OnlyAsciiCapitalsAreFolded) {
  for (int code = 0; code < 256; ++code) {
    const char byte = static_cast<char>(code);
    const bool isCapital = code >= 'A' && code <= 'Z';
    EXPECT_EQ(FoldLetter(byte), isCapital ? static_cast<char>(code + 32) : byte) << code;
  }
}

}  // namespace
}  // namespace moorlak
