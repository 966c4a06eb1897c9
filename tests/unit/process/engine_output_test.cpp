#include "process/engine_output.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

TEST(XrayOutput, TagsAChunkAndLeavesItAsItIs) {
  EXPECT_EQ(XrayOutputText("stdout", "first\nsecond\r\n"), "[Xray stdout] first\nsecond\r\n");
  EXPECT_EQ(XrayOutputText("stderr", "no line end"), "[Xray stderr] no line end");
}

TEST(XrayOutput, DropsNothingByItsLevel) {
  EXPECT_EQ(XrayOutputText("stdout", R"({"level":"info"})"), R"([Xray stdout] {"level":"info"})");
}

TEST(Tun2SocksOutput, TagsTheTwoReadersInDifferentCase) {
  const auto output = FilterTun2SocksOutput("stderr", "dial failed\n");
  ASSERT_TRUE(output);
  EXPECT_EQ(output->standardErrorLine, "[Tun2Socks stderr] dial failed");
  EXPECT_EQ(output->logLine, "[tun2socks stderr] dial failed");
}

TEST(Tun2SocksOutput, KeepsSeveralLinesAsOneEntryAndStripsOnlyTheTrailingBreaks) {
  const auto output = FilterTun2SocksOutput("stdout", "\none\r\ntwo\n\r\n\n");
  ASSERT_TRUE(output);
  EXPECT_EQ(output->logLine, "[tun2socks stdout] \none\r\ntwo");
}

TEST(Tun2SocksOutput, DropsAChunkOfLineBreaksOnly) {
  EXPECT_FALSE(FilterTun2SocksOutput("stdout", "\r\n"));
  EXPECT_FALSE(FilterTun2SocksOutput("stdout", "\n\n\r\r"));
  EXPECT_FALSE(FilterTun2SocksOutput("stdout", ""));
}

TEST(Tun2SocksOutput, KeepsAChunkOfBlanks) {
  const auto output = FilterTun2SocksOutput("stdout", " \r\n");
  ASSERT_TRUE(output);
  EXPECT_EQ(output->logLine, "[tun2socks stdout]  ");
}

TEST(Tun2SocksOutput, DropsInfoAndDebugEntries) {
  EXPECT_FALSE(FilterTun2SocksOutput("stdout", "{\"level\":\"info\",\"msg\":\"up\"}\n"));
  EXPECT_FALSE(FilterTun2SocksOutput("stdout", "{\"time\":1,\"level\":\"debug\"}\n"));
  EXPECT_FALSE(FilterTun2SocksOutput("stdout", R"("level":"info")"));
  EXPECT_FALSE(FilterTun2SocksOutput("stdout", R"("level":"debug")"));
}

TEST(Tun2SocksOutput, KeepsOtherLevelsSpacingsAndCases) {
  EXPECT_TRUE(FilterTun2SocksOutput("stdout", R"({"level":"warn"})"));
  EXPECT_TRUE(FilterTun2SocksOutput("stdout", R"({"level": "info"})"));
  EXPECT_TRUE(FilterTun2SocksOutput("stdout", R"({"level":"INFO"})"));
  EXPECT_TRUE(FilterTun2SocksOutput("stdout", R"({"level":"debugging"})"));
}

TEST(Tun2SocksOutput, KeepsAChunkThatIsShorterThanTheSearchedTexts) {
  const auto output = FilterTun2SocksOutput("stdout", "x");
  ASSERT_TRUE(output);
  EXPECT_EQ(output->logLine, "[tun2socks stdout] x");
}

TEST(Tun2SocksOutput, DropsAWholeChunkForOneInfoEntryInIt) {
  EXPECT_FALSE(FilterTun2SocksOutput("stdout", "{\"level\":\"warn\"}\n{\"level\":\"info\"}\n"));
}

}  // namespace
}  // namespace moorlak
