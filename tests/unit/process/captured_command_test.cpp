#include <windows.h>

#include <gtest/gtest.h>

#include "process/hidden_command.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

constexpr CaptureLimits kGenerous{kGenerousMs, size_t{8} << 20};

std::optional<std::string> Capture(const std::string& actions, const CaptureLimits& limits = kGenerous) {
  return CaptureCommand(NarrowTestChildPath(), "test_child " + actions, limits);
}

TEST(CapturedCommand, ReturnsWhatTheProgramWroteOnStandardOutputOnly) {
  EXPECT_EQ(Capture("out=first\\r\\n err=hidden out=second"), "first\r\nsecond");
}

TEST(CapturedCommand, AProgramThatWritesNothingHasEmptyOutput) {
  EXPECT_EQ(Capture("exit=3"), "");
}

TEST(CapturedCommand, ReadsMoreThanItsPipeHolds) {
  const std::optional<std::string> output = Capture("bytes=1000000");
  ASSERT_TRUE(output);
  EXPECT_EQ(output->size(), 1000000u);
}

TEST(CapturedCommand, StopsAtTheSizeLimit) {
  const std::optional<std::string> output = Capture("bytes=1000000", {kGenerousMs, 1000});
  ASSERT_TRUE(output);
  EXPECT_EQ(output->size(), 1000u);
}

TEST(CapturedCommand, EndsAHangingProgramAtTheTimeOutAndReturnsWhatItWroteByThen) {
  // If the time-out passes before the program has started, the try shows nothing and a longer one follows.
  for (const uint32_t timeoutMs : {1000u, 5000u, 30000u}) {
    const LifeSign life;
    const std::string actions = "out=early " + life.Actions();
    const std::optional<std::string> output = Capture(actions, {timeoutMs, kGenerous.maxBytes});
    ASSERT_TRUE(output);
    if (!life.Started(0)) continue;
    EXPECT_EQ(*output, "early");
    EXPECT_TRUE(life.Ends());
    EXPECT_EQ(LogMessagesWith(life.mutexName), std::vector<std::string>{"CMD timeout: test_child " + actions});
    return;
  }
  FAIL() << "the program never started";
}

TEST(CapturedCommand, AProgramThatIsNotThereHasNoOutput) {
  EXPECT_EQ(CaptureCommand("C:\\no such folder\\tool.exe", "tool", kGenerous), std::nullopt);
}

TEST(CapturedCommand, ASystemProgramIsFoundInTheSystemFolder) {
  const std::optional<std::string> output = CaptureSystemCommand("ipconfig.exe", kGenerous);
  ASSERT_TRUE(output);
  EXPECT_FALSE(output->empty());
  EXPECT_EQ(CaptureSystemCommand("no_such_tool.exe", kGenerous), std::nullopt);
}

}  // namespace
}  // namespace moorlak
