#include "client/line_assembler.h"

#include <gtest/gtest.h>
#include <vector>

namespace moorlak::client {
namespace {

struct Collected {
  LineAssembler assembler;
  std::vector<std::string> lines;
  LineSink sink = [this](std::string_view line) { lines.emplace_back(line); };
};

using Lines = std::vector<std::string>;

TEST(LineAssembler, BothLineEndsAreTakenOff) {
  Collected collected;
  FeedLines(collected.assembler, "one\r\ntwo\n\nfour\r\n", collected.sink);
  EXPECT_EQ(collected.lines, (Lines{"one", "two", "", "four"}));
}

TEST(LineAssembler, ALineMayComeByteByByte) {
  Collected collected;
  for (const char byte : std::string("ab\r\ncd\r\n")) FeedLines(collected.assembler, {&byte, 1}, collected.sink);
  EXPECT_EQ(collected.lines, (Lines{"ab", "cd"}));
}

TEST(LineAssembler, AnUnfinishedLineWaitsForItsEndOrAFlush) {
  Collected collected;
  FeedLines(collected.assembler, "begun", collected.sink);
  EXPECT_TRUE(collected.lines.empty());
  FlushLine(collected.assembler, collected.sink);
  FlushLine(collected.assembler, collected.sink);
  EXPECT_EQ(collected.lines, (Lines{"begun"}));
}

TEST(LineAssembler, ALineOfTheLongestLengthIsOneLine) {
  Collected collected;
  FeedLines(collected.assembler, std::string(kLongestLine - 1, 'x') + "\nnext\n", collected.sink);
  ASSERT_EQ(collected.lines.size(), 2U);
  EXPECT_EQ(collected.lines[0].size(), kLongestLine - 1);
  EXPECT_EQ(collected.lines[1], "next");
}

TEST(LineAssembler, AnEndlessLineComesInPieces) {
  Collected collected;
  FeedLines(collected.assembler, std::string(2 * kLongestLine + 3, 'x'), collected.sink);
  ASSERT_EQ(collected.lines.size(), 2U);
  EXPECT_EQ(collected.lines[0].size(), kLongestLine);
  EXPECT_EQ(collected.assembler.pending.size(), 3U);
}

}  // namespace
}  // namespace moorlak::client
