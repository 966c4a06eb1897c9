#include "text/letter_case.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

TEST(LetterCase, OnlyAsciiCapitalsAreFolded) {
  for (int byte = 0; byte < 256; ++byte) {
    const auto character = static_cast<char>(byte);
    const bool capital = byte >= 'A' && byte <= 'Z';
    EXPECT_EQ(FoldLetter(character), static_cast<char>(capital ? byte + 32 : byte)) << byte;
  }
  EXPECT_EQ(FoldLetter(L'Z'), L'z');
  // The Kelvin sign and the capital O with two dots have small letters elsewhere.
  for (const wchar_t letter : {L'@', L'[', L'z', L'\u212A', L'\u00D6'}) EXPECT_EQ(FoldLetter(letter), letter);
  EXPECT_EQ(FoldLetters("Setup.EXE \xC3\x96"), "setup.exe \xC3\x96");
}

TEST(LetterCase, TextsThatDifferOnlyInItAreEqual) {
  EXPECT_TRUE(EqualFolded("", ""));
  EXPECT_TRUE(EqualFolded("Access", "aCCESS"));
  EXPECT_TRUE(EqualFolded(L"--CONSOLE", L"--console"));
  for (const char* other : {"", "acces", "accesss",
                            "a\xE3"
                            "ccess",
                            "@ccess"})
    EXPECT_FALSE(EqualFolded("access", other));
  EXPECT_FALSE(EqualFolded(L"--console", L"--console "));
  EXPECT_FALSE(EqualFolded("[", "{"));
}

}  // namespace
}  // namespace moorlak
