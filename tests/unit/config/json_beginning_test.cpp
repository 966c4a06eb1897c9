#include <gtest/gtest.h>

#include "text/json_members.h"

namespace moorlak {
namespace {

TEST(JsonBeginning, IsABraceOrABracketAfterBlanks) {
  for (const char* text : {"{", "[", "{}", "[1]", " \t\r\n{", "\n["}) EXPECT_TRUE(BeginsLikeJson(text)) << text;
}

TEST(JsonBeginning, IsNothingElse) {
  for (const char* text : {"", " \t\r\n", "}", "]", "x{", "\"{\"", "// {\n{", "\v{", "\xEF\xBB\xBF{", "(", "<"}) {
    EXPECT_FALSE(BeginsLikeJson(text)) << text;
  }
}

}  // namespace
}  // namespace moorlak
