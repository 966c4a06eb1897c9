#include "process/cancellable_wait.h"

#include <chrono>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace moorlak {
namespace {

using Clock = std::chrono::steady_clock;

TEST(CancellableWait, SleepsTwoHundredAndFiftyMillisecondsAsHundredHundredFifty) {
  EXPECT_EQ(NextWaitStep(250, 0), 100);
  EXPECT_EQ(NextWaitStep(250, 100), 100);
  EXPECT_EQ(NextWaitStep(250, 200), 50);
  EXPECT_EQ(NextWaitStep(250, 250), 0);
}

TEST(CancellableWait, HasNoStepForDurationsBelowOne) {
  EXPECT_EQ(NextWaitStep(0, 0), 0);
  EXPECT_EQ(NextWaitStep(-1, 0), 0);
  EXPECT_EQ(NextWaitStep(std::numeric_limits<int32_t>::min(), 0), 0);
}

TEST(CancellableWait, StepsToTheEndOfTheLongestDurationWithoutOverflow) {
  constexpr int32_t kLongest = std::numeric_limits<int32_t>::max();
  EXPECT_EQ(NextWaitStep(kLongest, kLongest - 47), 47);
  EXPECT_EQ(NextWaitStep(kLongest, kLongest), 0);
}

TEST(CancellableWait, ReturnsTheFlagAtOnceForZeroMilliseconds) {
  std::atomic<bool> running{true};
  EXPECT_TRUE(WaitWhileRunning(running, 0));
  running = false;
  EXPECT_FALSE(WaitWhileRunning(running, 0));
}

TEST(CancellableWait, ReturnsTheFlagAtOnceForNegativeDurations) {
  std::atomic<bool> running{true};
  EXPECT_TRUE(WaitWhileRunning(running, -5));
  EXPECT_TRUE(WaitWhileRunning(running, std::numeric_limits<int32_t>::min()));
}

TEST(CancellableWait, SleepsTheWholeDurationWhileTheFlagIsSet) {
  const std::atomic<bool> running{true};
  const Clock::time_point begin = Clock::now();
  EXPECT_TRUE(WaitWhileRunning(running, 250));
  EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(250));
}

TEST(CancellableWait, SleepsTheShortestDurationToo) {
  const std::atomic<bool> running{true};
  const Clock::time_point begin = Clock::now();
  EXPECT_TRUE(WaitWhileRunning(running, 1));
  EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(1));
}

TEST(CancellableWait, DoesNotSleepWhenTheFlagIsClear) {
  const std::atomic<bool> running{false};
  // If it slept, it would not return for weeks.
  EXPECT_FALSE(WaitWhileRunning(running, std::numeric_limits<int32_t>::max()));
}

TEST(CancellableWait, EndsEarlyWhenAnotherThreadClearsTheFlag) {
  std::atomic<bool> running{true};
  std::thread stopper([&running] { running = false; });
  // If the flag were not read between the steps, it would not return for weeks.
  EXPECT_FALSE(WaitWhileRunning(running, std::numeric_limits<int32_t>::max()));
  stopper.join();
}

}  // namespace
}  // namespace moorlak
