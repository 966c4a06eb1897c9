#include "base/utf.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

TEST(Utf, WidensAndNarrowsEveryPlane) {
  const std::string text = "Moorlak \xd0\xa1\xd0\xb5\xd1\x82\xd1\x8c \xe7\xbd\x91 \xf0\x9f\x9a\x80";
  EXPECT_EQ(WidenUtf8(text), L"Moorlak \x0421\x0435\x0442\x044c \x7f51 \xd83d\xde80");
  EXPECT_EQ(NarrowUtf16(WidenUtf8(text)), text);
}

TEST(Utf, KeepsNulBytes) {
  EXPECT_EQ(WidenUtf8(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(NarrowUtf16(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(Utf, TurnsMalformedInputIntoTheReplacementCharacter) {
  EXPECT_EQ(WidenUtf8("\xff"), L"\xfffd");
  EXPECT_EQ(NarrowUtf16(L"\xd83d"), "\xef\xbf\xbd");
}

TEST(Utf, LeavesAnEmptyTextEmpty) {
  EXPECT_EQ(WidenUtf8(""), L"");
  EXPECT_EQ(NarrowUtf16(L""), "");
}

}  // namespace
}  // namespace moorlak
