#include <gtest/gtest.h>

#include "net/dns/smhnr_policy.h"

namespace moorlak {
namespace {

constexpr SmhnrBackup kBackup{true, true, 1, false, 0};

TEST(SmhnrBackup, TheFileHasFiveLines) {
  EXPECT_EQ(FormatSmhnrBackup(kBackup), "v1\n1\n1\n0\n0\n");
  EXPECT_EQ(FormatSmhnrBackup({true, false, 0, true, 4294967295}), "v1\n0\n0\n1\n4294967295\n");
}

TEST(SmhnrBackup, WhatIsWrittenIsReadBack) {
  EXPECT_EQ(ParseSmhnrBackup(FormatSmhnrBackup(kBackup)), kBackup);
  const SmhnrBackup other{true, true, 4294967295, true, 7};
  EXPECT_EQ(ParseSmhnrBackup(FormatSmhnrBackup(other)), other);
}

TEST(SmhnrBackup, ABackupWhoseFirstLineIsNotV1IsIgnored) {
  for (const char* text : {"v2\n1\n1\n0\n0\n", "", "v1", "V1\n1\n1\n0\n0\n", "v1 \n1\n1\n0\n0\n"}) {
    EXPECT_FALSE(ParseSmhnrBackup(text)) << text;
  }
}

TEST(SmhnrBackup, NumbersOutOfRangeMakeItNone) {
  for (const char* text : {"v1\n2\n1\n0\n0\n", "v1\n1\n4294967296\n0\n0\n", "v1\n1\n-1\n0\n0\n", "v1\n1\nx\n0\n0\n"}) {
    EXPECT_FALSE(ParseSmhnrBackup(text)) << text;
  }
}

TEST(SmhnrBackup, AFileCutAtAnyByteIsNone) {
  const std::string whole = FormatSmhnrBackup({true, true, 42, true, 17});
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(ParseSmhnrBackup(whole.substr(0, length))) << length;
  }
}

// A changed number is not detected: the file has no checksum.
TEST(SmhnrBackup, AFileWithAnyByteChangedIsNoneOrStillFourNumbers) {
  const std::string whole = FormatSmhnrBackup({true, true, 42, true, 17});
  constexpr std::string_view kNumbersAndBlanks = "0123456789 \t\n\v\f\r";
  size_t read = 0;
  for (size_t position = 0; position < whole.size(); ++position) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = whole;
      changed[position] = static_cast<char>(byte);
      const auto backup = ParseSmhnrBackup(changed);
      if (!backup) continue;
      ++read;
      EXPECT_TRUE(changed.starts_with("v1\n")) << changed;
      EXPECT_EQ(changed.find_first_not_of(kNumbersAndBlanks, 3), std::string::npos) << changed;
      EXPECT_TRUE(backup->active);
      EXPECT_EQ(ParseSmhnrBackup(FormatSmhnrBackup(*backup)), backup) << changed;
    }
  }
  EXPECT_GT(read, whole.size());
}

}  // namespace
}  // namespace moorlak
