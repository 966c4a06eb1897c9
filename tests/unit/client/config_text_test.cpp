#include "client/config_text.h"

#include <gtest/gtest.h>

#include "config/file_settings.h"

namespace moorlak::client {
namespace {

TEST(ConfigText, TextIsSentAsItIs) {
  EXPECT_EQ(PrepareConfigText(" {\"a\":1}\r\n").text, " {\"a\":1}\r\n");
  EXPECT_EQ(PrepareConfigText("").text, "");
  EXPECT_EQ(PrepareConfigText("").error, "");
}

TEST(ConfigText, AUtf8MarkIsLeftOutOnce) {
  EXPECT_EQ(PrepareConfigText("\xEF\xBB\xBF{}").text, "{}");
  EXPECT_EQ(PrepareConfigText("\xEF\xBB\xBF\xEF\xBB\xBF{}").text, "\xEF\xBB\xBF{}");
  EXPECT_EQ(PrepareConfigText("\xEF\xBB{}").text, "\xEF\xBB{}");
}

TEST(ConfigText, Utf16IsRefusedInBothByteOrders) {
  using namespace std::string_view_literals;
  EXPECT_EQ(PrepareConfigText("\xFF\xFE{\0}\0"sv).error, "The configuration is UTF-16 text; save it as UTF-8.");
  EXPECT_EQ(PrepareConfigText("\xFE\xFF\0{\0}"sv).error, "The configuration is UTF-16 text; save it as UTF-8.");
}

TEST(ConfigText, TheLongestTextFillsThePayloadExactly) {
  EXPECT_EQ(kMaxConfigBytes, 16777214U);
  std::string text(kMaxConfigBytes, ' ');
  EXPECT_EQ(PrepareConfigText(text).error, "");
  text += ' ';
  EXPECT_EQ(PrepareConfigText(text).error, "The configuration is too large: the service takes at most 16777214 bytes.");
}

TEST(ConfigText, WhatDoesNotBeginLikeJsonIsRefusedWhereAStartIsMeant) {
  EXPECT_EQ(CheckForStart({" \t\r\n{", {}}).error, "");
  EXPECT_EQ(CheckForStart({"[", {}}).error, "");
  for (const std::string_view text : {"", " \t\r\n", "x{", "\v{", "\xC2\xA0{", "\xEF\xBB\xBF{"}) {
    EXPECT_EQ(CheckForStart({text, {}}).error, "The configuration is not JSON: it does not begin with { or [.") << text;
  }
  EXPECT_EQ(CheckForStart({"", "Unreadable."}).error, "Unreadable.");
}

TEST(ConfigText, WhatNamesAFileIsRefusedWhereAStartIsMeant) {
  const std::string_view named = R"({"log":{"access":"C:\\x.log"}})";
  EXPECT_EQ(CheckForStart({named, {}}).error, FileSettingText("log.access"));
  EXPECT_EQ(CheckForStart({named, {}}).text, "");
  EXPECT_EQ(CheckForStart({named, "Unreadable."}).error, "Unreadable.");
  EXPECT_EQ(CheckForStart({R"("masterKeyLog":1)", {}}).error,
            "The configuration is not JSON: it does not begin with { or [.");
}

TEST(ConfigText, TheMarkDoesNotCountAgainstTheLimit) {
  const std::string text = "\xEF\xBB\xBF" + std::string(kMaxConfigBytes, ' ');
  EXPECT_EQ(PrepareConfigText(text).text.size(), kMaxConfigBytes);
  EXPECT_LT(text.size(), kConfigReadLimit);
}

}  // namespace
}  // namespace moorlak::client
