#include <gtest/gtest.h>

#include "text/text_scan.h"

namespace moorlak {
namespace {

TEST(BaseName, FollowsTheLastSeparatorOfEitherKind) {
  EXPECT_EQ(BaseName(R"(C:\a\b.exe)"), "b.exe");
  EXPECT_EQ(BaseName("C:/a/b.exe"), "b.exe");
  EXPECT_EQ(BaseName(R"(C:\a/b\c.exe)"), "c.exe");
  EXPECT_EQ(BaseName("b.exe"), "b.exe");
  EXPECT_EQ(BaseName(R"(C:\a\)"), "");
  EXPECT_EQ(BaseName(""), "");
}

}  // namespace
}  // namespace moorlak
