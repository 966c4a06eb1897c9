#include <gtest/gtest.h>

#include "ipc/pipe_server.h"

namespace moorlak {
namespace {

// Counts that many rejections at the tick and returns the sleep after the last one.
uint32_t RecordMany(RejectionThrottle& throttle, uint32_t tick, int times) {
  uint32_t sleepMs = 0;
  for (int i = 0; i < times; ++i) sleepMs = RecordRejection(throttle, tick);
  return sleepMs;
}

TEST(RejectionThrottle, TheFirstSixRejectionsAreFree) {
  RejectionThrottle throttle;
  for (int i = 0; i < 6; ++i) EXPECT_EQ(RecordRejection(throttle, 1000), 0u);
}

TEST(RejectionThrottle, EachFurtherRejectionSleepsFortyMillisecondsLonger) {
  RejectionThrottle throttle;
  EXPECT_EQ(RecordMany(throttle, 1000, 7), 40u);
  EXPECT_EQ(RecordRejection(throttle, 1000), 80u);
  EXPECT_EQ(RecordRejection(throttle, 1000), 120u);
}

TEST(RejectionThrottle, TheSleepIsCappedAtTwoSeconds) {
  RejectionThrottle throttle;
  EXPECT_EQ(RecordMany(throttle, 1000, 55), 1960u);
  EXPECT_EQ(RecordRejection(throttle, 1000), 2000u);
  EXPECT_EQ(RecordRejection(throttle, 1000), 2000u);
}

TEST(RejectionThrottle, APeriodLasts5001Milliseconds) {
  RejectionThrottle throttle;
  RecordMany(throttle, 1000, 6);
  EXPECT_EQ(RecordRejection(throttle, 6000), 40u);
  EXPECT_EQ(RecordRejection(throttle, 6001), 0u);
  EXPECT_EQ(throttle.count, 1u);
}

TEST(RejectionThrottle, ANewPeriodStartsWithTheRejectionThatOpensIt) {
  RejectionThrottle throttle;
  RecordRejection(throttle, 0);
  RecordMany(throttle, 7000, 6);
  EXPECT_EQ(RecordRejection(throttle, 12000), 40u);
  EXPECT_EQ(RecordRejection(throttle, 12001), 0u);
}

TEST(RejectionThrottle, APeriodMayStartAtTickZero) {
  RejectionThrottle throttle;
  EXPECT_EQ(RecordMany(throttle, 0, 7), 40u);
}

TEST(RejectionThrottle, APeriodGoesOnWhenTheTickCounterWraps) {
  RejectionThrottle throttle;
  RecordMany(throttle, 0xFFFFFFF0, 6);
  EXPECT_EQ(RecordRejection(throttle, 10), 40u);
}

TEST(RejectionThrottle, APeriodEndsWhenTheTickCounterWraps) {
  RejectionThrottle throttle;
  RecordMany(throttle, 0xFFFFFFF0, 7);
  EXPECT_EQ(RecordRejection(throttle, 5001 - 16), 0u);
}

TEST(RejectionThrottle, ACountAtItsBoundStaysThere) {
  RejectionThrottle throttle{.periodKnown = true, .periodStart = 0, .count = 0xFFFFFFFF};
  EXPECT_EQ(RecordRejection(throttle, 1), 2000u);
  EXPECT_EQ(throttle.count, 0xFFFFFFFFu);
}

}  // namespace
}  // namespace moorlak
