#include "text/record_lines.h"

#include <gtest/gtest.h>
#include <limits>

namespace moorlak {
namespace {

TEST(RecordLines, ATextBeginsWithItsVersionAndHasOneValueALine) {
  std::string text = NewRecordText();
  AddRecordLine(text, "Ethernet 2");
  AddRecordNumber(text, std::numeric_limits<uint64_t>::max());
  AddRecordLine(text, "");
  EXPECT_EQ(text, "v1\nEthernet 2\n18446744073709551615\n\n");
}

TEST(RecordLines, LinesAreReadInTheirOrderUpToTheEnd) {
  RecordReader reader("v1\n\n a \n");
  EXPECT_EQ(reader.Line(), kRecordVersion);
  EXPECT_EQ(reader.Line(), "");
  EXPECT_FALSE(reader.AtEnd());
  EXPECT_EQ(reader.Line(), " a ");
  EXPECT_TRUE(reader.AtEnd());
  EXPECT_EQ(reader.Line(), std::nullopt);
}

TEST(RecordLines, ALineWithoutItsEndIsNotReadAndNothingComesAfterIt) {
  RecordReader reader("v1\n192.0.2");
  reader.Line();
  EXPECT_EQ(reader.Line(), std::nullopt);
  EXPECT_TRUE(reader.AtEnd());
  EXPECT_EQ(RecordReader("").Line(), std::nullopt);
}

TEST(RecordLines, ANumberLineHasNothingButTheNumber) {
  for (const char* text : {"", "7", "\n", " 7\n", "7 \n", "-7\n", "8\n", "x\n", "99999999999999999999\n"}) {
    EXPECT_EQ(RecordReader(text).NumberLine(7), std::nullopt) << text;
  }
  EXPECT_EQ(RecordReader("007\n").NumberLine(7), 7U);
  EXPECT_EQ(RecordReader("18446744073709551615\n").NumberLine(std::numeric_limits<uint64_t>::max()),
            std::numeric_limits<uint64_t>::max());
}

TEST(RecordLines, ANumberIsFoundAfterBlanksAndLineEndsAndLeavesTheRestOfItsLine) {
  RecordReader reader(" \n\t 12 rest\n4294967295\n");
  EXPECT_EQ(reader.Number(), 12U);
  EXPECT_EQ(reader.Line(), " rest");
  EXPECT_EQ(reader.Number(), 4294967295U);
  EXPECT_EQ(reader.Line(), "");
}

TEST(RecordLines, WithoutANumberTheReaderDoesNotMove) {
  for (const char* text : {"x\n", "4294967296\n", "-1\n", "\n"}) {
    RecordReader reader(text);
    EXPECT_EQ(reader.Number(), std::nullopt) << text;
    EXPECT_EQ(reader.Number(), std::nullopt) << text;
    EXPECT_EQ(reader.Line(), std::string_view(text).substr(0, std::string_view(text).size() - 1));
  }
}

TEST(RecordLines, ANumberThatEndsTheTextMayBeIncomplete) {
  RecordReader reader("1\n25");
  EXPECT_EQ(reader.Number(), 1U);
  EXPECT_EQ(reader.Number(), std::nullopt);
}

TEST(RecordLines, ANumberAfterOneThatIsMissingIsRead) {
  RecordReader reader("x\n25\n");
  EXPECT_EQ(reader.Number(), std::nullopt);
  reader.Line();
  EXPECT_EQ(reader.Number(), 25U);
}

// A reader that looks for the number again and again would need hours.
TEST(RecordLines, ANumberThatIsMissingIsLookedForOnce) {
  const std::string blanks(size_t{2} << 20, '\n');
  RecordReader reader(blanks);
  while (!reader.AtEnd()) {
    EXPECT_EQ(reader.Number(), std::nullopt);
    reader.Line();
  }
}

}  // namespace
}  // namespace moorlak
