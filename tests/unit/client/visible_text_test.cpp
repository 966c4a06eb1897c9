#include "client/visible_text.h"

#include <gtest/gtest.h>

namespace moorlak::client {
namespace {

using namespace std::string_view_literals;

TEST(VisibleText, PrintableTextStaysAsItIs) {
  EXPECT_EQ(VisibleText("a ~\ttab"), "a ~\ttab");
  EXPECT_EQ(VisibleText("\xD0\xB6 \xE2\x80\x94 \xF0\x9F\x98\x80"), "\xD0\xB6 \xE2\x80\x94 \xF0\x9F\x98\x80");
  EXPECT_EQ(VisibleText(""), "");
}

TEST(VisibleText, ControlCharactersBecomeEscapes) {
  EXPECT_EQ(VisibleText("\x1B[2J"), "\\x1B[2J");
  EXPECT_EQ(VisibleText("a\r\nb\0c\x7F"sv), "a\\x0D\\x0Ab\\x00c\\x7F");
  EXPECT_EQ(VisibleText("\b"), "\\x08");
}

TEST(VisibleText, TheSecondControlSetAndDirectionOverridesBecomeEscapes) {
  EXPECT_EQ(VisibleText("\xC2\x9B"
                        "31m"),
            "\\u{009B}31m");
  EXPECT_EQ(VisibleText("\xE2\x80\xAE"
                        "abc"),
            "\\u{202E}abc");
  EXPECT_EQ(VisibleText("\xE2\x81\xA6"), "\\u{2066}");
  EXPECT_EQ(VisibleText("\xE2\x80\xA8"), "\\u{2028}");
  EXPECT_EQ(VisibleText("\xEF\xBB\xBF"), "\\u{FEFF}");
}

TEST(VisibleText, BytesThatAreNoUtf8BecomeEscapes) {
  EXPECT_EQ(VisibleText("\xFF"
                        "a"),
            "\\xFFa");
  EXPECT_EQ(VisibleText("\x80"), "\\x80");
  // Cut at the end and in the middle.
  EXPECT_EQ(VisibleText("\xE2\x80"), "\\xE2\\x80");
  EXPECT_EQ(VisibleText("\xE2\x80z"), "\\xE2\\x80z");
  // An overlong slash, a surrogate, a number outside Unicode.
  EXPECT_EQ(VisibleText("\xC0\xAF"), "\\xC0\\xAF");
  EXPECT_EQ(VisibleText("\xED\xA0\x80"), "\\xED\\xA0\\x80");
  EXPECT_EQ(VisibleText("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");
}

TEST(VisibleText, EveryByteAloneIsEitherPrintableOrEscaped) {
  for (int value = 0; value < 256; ++value) {
    const std::string text(1, static_cast<char>(value));
    const bool printable = (value >= 0x20 && value < 0x7F) || value == '\t';
    EXPECT_EQ(VisibleText(text).size(), printable ? 1U : 4U) << value;
  }
}

}  // namespace
}  // namespace moorlak::client
