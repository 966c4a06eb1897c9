#include "text/json_members.h"

#include <gtest/gtest.h>

#include "text/text_scan.h"

namespace moorlak {
namespace {

std::optional<std::string_view> RootMember(std::string_view text, std::string_view name) {
  const size_t root = FindRootObject(text);
  return root == kNotFound ? std::nullopt : FindJsonMember(text, root, name);
}

TEST(JsonMembers, TheRootIsTheObjectThatTheTextBeginsWith) {
  EXPECT_EQ(FindRootObject("{}"), 0u);
  EXPECT_EQ(FindRootObject(" \t\r\n{"), 4u);
  EXPECT_EQ(FindRootObject("// {a}\n{"), 7u);
  EXPECT_EQ(FindRootObject("# {\n /* { */{"), 12u);
  EXPECT_EQ(FindRootObject("#\n{\n"), 2u);
  EXPECT_EQ(FindRootObject(""), kNotFound);
  EXPECT_EQ(FindRootObject("[{}]"), kNotFound);
  EXPECT_EQ(FindRootObject("// {"), kNotFound);
  EXPECT_EQ(FindRootObject("/ {"), kNotFound);
}

TEST(JsonMembers, ACommentEndsWhereTheEngineEndsIt) {
  // A carriage return does not end a line, and the star of an opening mark does not close the comment.
  EXPECT_EQ(SkipBlanksAndComments("//\r{\n}", 0), 5u);
  EXPECT_EQ(SkipBlanksAndComments("/*/ {*/}", 0), 7u);
  EXPECT_EQ(SkipBlanksAndComments("/***/}", 0), 5u);
  EXPECT_EQ(SkipBlanksAndComments("/* {", 0), 4u);
  // Line ends between the star and the slash; the last case as other readers see it.
  EXPECT_EQ(SkipBlanksAndComments("/* *\n\n/{ */", 0), 7u);
  EXPECT_EQ(SkipBlanksAndComments("/* *\n*\n/{", 0), 8u);
  EXPECT_EQ(SkipBlanksAndComments("/* *\n /{ */}", 0), 11u);
  EXPECT_EQ(SkipBlanksAndComments("/*\n/{ */}", 0), 8u);
  EXPECT_EQ(SkipBlanksAndComments("/* *\n/{ */}", 0, BlockCommentEnd::OnOneLine), 10u);
}

TEST(JsonMembers, ValuesOfEveryKindAreFoundWithTheirExtent) {
  const std::string_view text = R"({"a": "x,}", "b" : [1, {"c": 2}], "c":{"d":"]"} ,"e":-1.5e3,"f":true,"g":null})";
  EXPECT_EQ(RootMember(text, "a"), R"("x,}")");
  EXPECT_EQ(RootMember(text, "b"), R"([1, {"c": 2}])");
  EXPECT_EQ(RootMember(text, "c"), R"({"d":"]"})");
  EXPECT_EQ(RootMember(text, "e"), "-1.5e3");
  EXPECT_EQ(RootMember(text, "f"), "true");
  EXPECT_EQ(RootMember(text, "g"), "null");
}

TEST(JsonMembers, OnlyTheObjectsOwnMembersCount) {
  EXPECT_FALSE(RootMember(R"({"a":{"api":1},"b":["api",{"api":2}],"c":"\"api\":3"})", "api"));
}

TEST(JsonMembers, EscapesDoNotEndATextAndAreReadInNames) {
  EXPECT_EQ(RootMember(R"({"a":"\"}\\","api":1})", "api"), "1");
  EXPECT_EQ(RootMember(R"({"\u0061\u0070i":2})", "api"), "2");
  EXPECT_EQ(RootMember(R"({"a\"b":3})", "a\"b"), "3");
}

TEST(JsonMembers, TheCaseOfNamesIsIgnoredAndTheLastOfSeveralWins) {
  EXPECT_EQ(RootMember(R"({"API":1})", "api"), "1");
  EXPECT_EQ(RootMember(R"({"api":1,"x":0,"Api":2})", "api"), "2");
  EXPECT_FALSE(RootMember(R"({"apis":1,"ap":2})", "api"));
}

TEST(JsonMembers, CommentsMayComeBetweenAnyTwoTokens) {
  const std::string_view text =
      "{/* } */\"a\"// :\n:#,\n[1,// ]\n2]/* \" */,\"b\"/**/:/**/5//}\n,\"s\":\"// no comment\"}";
  EXPECT_EQ(RootMember(text, "a"), "[1,// ]\n2]");
  EXPECT_EQ(RootMember(text, "b"), "5");
  EXPECT_EQ(RootMember(text, "s"), "\"// no comment\"");
}

TEST(JsonMembers, AMalformedTextIsReadAsFarAsItMakesSense) {
  EXPECT_EQ(RootMember(R"({"a":1 "b":2})", "a"), "1");
  EXPECT_FALSE(RootMember(R"({"a":1 "b":2})", "b"));
  EXPECT_FALSE(RootMember(R"({"a" "b":2})", "b"));
  EXPECT_EQ(RootMember(R"({"a":1)", "a"), "1");
  for (const char* text : {"{", "{\"", "{\"a", "{\"a\"", "{\"a\":", "{\"a\":[", "{\"a\":\"", "{\"a\":{\"b\":1",
                           "{\"a\":,", "{\"a\":}", "{a:1}", "{,\"a\":1}", "{\"a\":/*", "{\"a\\"}) {
    EXPECT_FALSE(RootMember(text, "a")) << text;
  }
}

TEST(JsonMembers, AMillionOpenBracketsAreNoRecursion) {
  EXPECT_FALSE(RootMember("{\"a\":" + std::string(1u << 20, '['), "a"));
  const std::string deep = "{\"a\":" + std::string(1u << 20, '[') + std::string(1u << 20, ']') + ",\"b\":1}";
  EXPECT_EQ(RootMember(deep, "b"), "1");
}

TEST(JsonMembers, TextsAreReadWithTheirEscapes) {
  EXPECT_EQ(ReadJsonText(R"("a\/b\\\"\n\u0041")"), "a/b\\\"\nA");
  EXPECT_EQ(ReadJsonText(R"("")"), "");
  EXPECT_EQ(ReadJsonText(R"("\u00411")"), "A1");
  EXPECT_EQ(ReadJsonText(R"("\u007f\u0080")"), "\x7F\\u0080");
  // Non-ASCII characters and invalid escapes stay as they are written.
  EXPECT_EQ(ReadJsonText(R"("\u00e9\uD83D\u00\x")"), R"(\u00e9\uD83D\u00\x)");
  EXPECT_EQ(ReadJsonText(R"("a\")"), "a\\");
  EXPECT_EQ(ReadJsonText(R"("a\n")"), "a\n");
  EXPECT_FALSE(ReadJsonText("12"));
  EXPECT_FALSE(ReadJsonText("\""));
  EXPECT_FALSE(ReadJsonText(""));
}

TEST(JsonMembers, AContainerEndsAfterTheBracketThatClosesIt) {
  for (const Brackets brackets : {Brackets::AllKinds, Brackets::FirstKind}) {
    for (const Comments comments : {Comments::Skipped, Comments::None}) {
      EXPECT_EQ(FindContainerEnd("{}", 0, brackets, comments), 2u);
      EXPECT_EQ(FindContainerEnd(R"(x[{"a":[1,"]\"]"]},{}] ])", 1, brackets, comments), 22u);
      for (const char* open : {"{", "[", "{\"}\"", "{\"}", "[\"\\\"]", "[[]", "{{}", ""}) {
        EXPECT_EQ(FindContainerEnd(open, 0, brackets, comments), kNotFound) << open;
      }
      EXPECT_EQ(FindContainerEnd("{}", kNotFound, brackets, comments), kNotFound);
    }
  }
}

TEST(JsonMembers, ABracketOfTheOtherKindCountsOnlyIfAllDo) {
  EXPECT_EQ(FindContainerEnd("[}]", 0, Brackets::AllKinds, Comments::None), 2u);
  EXPECT_EQ(FindContainerEnd("[}]", 0, Brackets::FirstKind, Comments::None), 3u);
  EXPECT_EQ(FindContainerEnd("{]}", 0, Brackets::AllKinds, Comments::None), 2u);
  EXPECT_EQ(FindContainerEnd("{]}", 0, Brackets::FirstKind, Comments::None), 3u);
  EXPECT_EQ(FindContainerEnd("[{]", 0, Brackets::AllKinds, Comments::None), kNotFound);
  EXPECT_EQ(FindContainerEnd("{[}", 0, Brackets::FirstKind, Comments::None), 3u);
}

TEST(JsonMembers, ABracketInACommentCountsUnlessCommentsAreSkipped) {
  for (const char* text : {"[/*]*/]", "[//]\n ]", "[ # ]\n]"}) {
    EXPECT_EQ(FindContainerEnd(text, 0, Brackets::AllKinds, Comments::Skipped), std::string_view(text).size()) << text;
    EXPECT_LT(FindContainerEnd(text, 0, Brackets::AllKinds, Comments::None), std::string_view(text).size()) << text;
  }
}

}  // namespace
}  // namespace moorlak
