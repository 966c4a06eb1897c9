#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "base/threads.h"
#include "support/log_watch.h"

namespace moorlak {
namespace {

// The exit code of abort() on this platform.
constexpr int kAborted = 3;

void RunOnAThreadOfItsOwn(void (*body)()) {
  std::thread([body] { RunThreadBody("worker", body); }).join();
}

TEST(ThreadBodyDeathTest, AnExceptionThatEscapesIsLoggedWithTheThreadsNameAndEndsTheProcess) {
  const LogWatch log;
  EXPECT_EXIT(RunOnAThreadOfItsOwn([] { throw std::runtime_error("out of luck"); }), testing::ExitedWithCode(kAborted),
              "");
  EXPECT_EQ(log.Text(), "worker thread failed: out of luck\n");
}

TEST(ThreadBodyDeathTest, SoDoesOneThatIsNoStandardException) {
  EXPECT_EXIT(RunOnAThreadOfItsOwn([] { throw 1; }), testing::ExitedWithCode(kAborted), "");
}

TEST(ThreadBody, ABodyThatReturnsLeavesTheLogAlone) {
  static bool hasRun = false;
  const LogWatch log;
  RunOnAThreadOfItsOwn([] { hasRun = true; });
  EXPECT_TRUE(hasRun);
  EXPECT_EQ(log.Text(), "");
}

}  // namespace
}  // namespace moorlak
