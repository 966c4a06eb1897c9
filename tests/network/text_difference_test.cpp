#include "support/text_difference.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

constexpr char kBefore[] =
    "adapter one\n"
    "  IPv4: DHCP\n"
    "    DNS (none)\n"
    "  IPv6: DHCP\n"
    "    DNS (none)\n"
    "adapter two\n"
    "routes\n"
    "  a\n"
    "  b\n";

TEST(TextDifference, IsEmptyForEqualTexts) {
  EXPECT_EQ(Difference(kBefore, kBefore), "");
  EXPECT_EQ(Difference("", ""), "");
}

TEST(TextDifference, SaysWhatALineBelongsTo) {
  EXPECT_EQ(Difference(kBefore,
                       "adapter one\n"
                       "  IPv4: DHCP\n"
                       "    DNS (none)\n"
                       "  IPv6: DHCP\n"
                       "    DNS 127.0.0.1\n"
                       "adapter two\n"
                       "routes\n"
                       "  a\n"
                       "  b\n"),
            " adapter one\n"
            "   IPv6: DHCP\n"
            "-    DNS (none)\n"
            "+    DNS 127.0.0.1\n");
}

TEST(TextDifference, NamesAHeadingOnceAndNotIfItHasChangedItself) {
  EXPECT_EQ(Difference(kBefore,
                       "adapter one\n"
                       "  IPv4: static\n"
                       "    DNS 127.0.0.1\n"
                       "  IPv6: DHCP\n"
                       "    DNS (none)\n"
                       "adapter two\n"
                       "routes\n"
                       "  b\n"
                       "  c\n"),
            " adapter one\n"
            "-  IPv4: DHCP\n"
            "-    DNS (none)\n"
            "+  IPv4: static\n"
            "+    DNS 127.0.0.1\n"
            " routes\n"
            "-  a\n"
            "+  c\n");
}

TEST(TextDifference, HasEveryLineOfATextThatTheOtherOneLacks) {
  EXPECT_EQ(Difference("", "a\n  b\n"), "+a\n+  b\n");
  EXPECT_EQ(Difference("a\n  b\n", ""), "-a\n-  b\n");
}

// Two lines changed places: one of them is common.
TEST(TextDifference, ShowsAnotherOrder) {
  EXPECT_EQ(Difference("a\nb\n", "b\na\n"), "-a\n+a\n");
}

constexpr char kDifference[] =
    " adapter one\n"
    "-  IPv4: DHCP\n"
    " filtering platform\n"
    "+  filter\n"
    "     condition\n"
    " policy\n"
    "+  on\n";

TEST(TextDifference, GivesASectionAway) {
  std::string difference = kDifference;
  EXPECT_EQ(TakeSection(difference, "filtering platform"), " filtering platform\n+  filter\n     condition\n");
  EXPECT_EQ(difference, " adapter one\n-  IPv4: DHCP\n policy\n+  on\n");
  EXPECT_EQ(TakeSection(difference, "adapter one"), " adapter one\n-  IPv4: DHCP\n");
  EXPECT_EQ(TakeSection(difference, "policy"), " policy\n+  on\n");
  EXPECT_EQ(difference, "");
}

TEST(TextDifference, HasNoSectionWithoutItsHeading) {
  std::string difference = kDifference;
  EXPECT_EQ(TakeSection(difference, "filter"), "");
  EXPECT_EQ(TakeSection(difference, "on"), "");
  EXPECT_EQ(difference, kDifference);
}

}  // namespace
}  // namespace moorlak
