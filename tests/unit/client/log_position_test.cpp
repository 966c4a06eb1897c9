#include "client/log_position.h"

#include <gtest/gtest.h>

namespace moorlak::client {
namespace {

constexpr FileIdentity kFirst{7, 100};
constexpr FileIdentity kSecond{7, 200};
constexpr FileIdentity kThird{7, 300};
constexpr LogFileState kMissing{};

LogFileState File(FileIdentity identity, uint64_t size) {
  return {true, identity, size};
}

void ExpectRead(const LogRead& read, LogGeneration generation, uint64_t from, uint64_t to, bool startsAnew) {
  EXPECT_EQ(read.generation, generation);
  EXPECT_EQ(read.from, from);
  EXPECT_EQ(read.to, to);
  EXPECT_EQ(read.startsAnew, startsAnew);
}

TEST(LogPosition, AnUnreadLogIsReadFromItsStart) {
  LogPosition position;
  EXPECT_FALSE(NeedsRotatedLog(position, File(kFirst, 10)));
  const auto reads = PlanLogReads(position, File(kFirst, 10), kMissing);
  ASSERT_EQ(reads.size(), 1U);
  ExpectRead(reads[0], LogGeneration::Current, 0, 10, true);
  EXPECT_EQ(position.offset, 10U);
}

TEST(LogPosition, AGrownLogIsReadFromWhereItWasLeft) {
  LogPosition position{true, kFirst, 10};
  const auto reads = PlanLogReads(position, File(kFirst, 25), kMissing);
  ASSERT_EQ(reads.size(), 1U);
  ExpectRead(reads[0], LogGeneration::Current, 10, 25, false);
  EXPECT_TRUE(PlanLogReads(position, File(kFirst, 25), kMissing).empty());
}

TEST(LogPosition, AfterARotationTheRestOfTheOldLogComesFirst) {
  LogPosition position{true, kFirst, 10};
  ASSERT_TRUE(NeedsRotatedLog(position, File(kSecond, 5)));
  const auto reads = PlanLogReads(position, File(kSecond, 5), File(kFirst, 30));
  ASSERT_EQ(reads.size(), 2U);
  ExpectRead(reads[0], LogGeneration::Rotated, 10, 30, false);
  ExpectRead(reads[1], LogGeneration::Current, 0, 5, true);
  EXPECT_EQ(position.identity, kSecond);
  EXPECT_EQ(position.offset, 5U);
}

TEST(LogPosition, ARotatedLogThatWasReadToItsEndIsNotReadAgain) {
  LogPosition position{true, kFirst, 30};
  const auto reads = PlanLogReads(position, File(kSecond, 5), File(kFirst, 30));
  ASSERT_EQ(reads.size(), 1U);
  ExpectRead(reads[0], LogGeneration::Current, 0, 5, true);
}

TEST(LogPosition, BetweenRenameAndNewLogTheOldOneIsReadOn) {
  LogPosition position{true, kFirst, 10};
  const auto between = PlanLogReads(position, kMissing, File(kFirst, 30));
  ASSERT_EQ(between.size(), 1U);
  ExpectRead(between[0], LogGeneration::Rotated, 10, 30, false);
  const auto later = PlanLogReads(position, File(kSecond, 4), File(kFirst, 30));
  ASSERT_EQ(later.size(), 1U);
  ExpectRead(later[0], LogGeneration::Current, 0, 4, true);
}

TEST(LogPosition, AfterTwoRotationsOnlyTheNewestLogIsLeft) {
  LogPosition position{true, kFirst, 10};
  const auto reads = PlanLogReads(position, File(kThird, 5), File(kSecond, 30));
  ASSERT_EQ(reads.size(), 1U);
  ExpectRead(reads[0], LogGeneration::Current, 0, 5, true);
}

TEST(LogPosition, AnEmptiedLogIsReadFromItsStart) {
  LogPosition position{true, kFirst, 100};
  const auto reads = PlanLogReads(position, File(kFirst, 20), kMissing);
  ASSERT_EQ(reads.size(), 1U);
  ExpectRead(reads[0], LogGeneration::Current, 0, 20, true);
}

TEST(LogPosition, ADeletedLogLeavesThePositionAndItsSuccessorIsRead) {
  LogPosition position{true, kFirst, 100};
  EXPECT_TRUE(PlanLogReads(position, kMissing, kMissing).empty());
  const auto reads = PlanLogReads(position, File(kSecond, 20), kMissing);
  ASSERT_EQ(reads.size(), 1U);
  ExpectRead(reads[0], LogGeneration::Current, 0, 20, true);
}

}  // namespace
}  // namespace moorlak::client
