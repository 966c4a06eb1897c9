#include "base/thread_body.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "unit/ipc/log_tail.h"

namespace moorlak {
namespace {

// The exit code of abort() on this platform.
constexpr int kAborted = 3;

void RunOnAThreadOfItsOwn(void (*body)()) {
  std::thread([body] { RunThreadBody("worker", body); }).join();
}

TEST(ThreadBodyDeathTest, AnExceptionThatEscapesIsLoggedWithTheThreadsNameAndEndsTheProcess) {
  const LogTail log;
  EXPECT_EXIT(RunOnAThreadOfItsOwn([] { throw std::runtime_error("out of luck"); }), testing::ExitedWithCode(kAborted),
              "");
  EXPECT_EQ(log.Messages(), "worker thread failed: out of luck\n");
}

TEST(ThreadBodyDeathTest, SoDoesOneThatIsNoStandardException) {
  EXPECT_EXIT(RunOnAThreadOfItsOwn([] { throw 1; }), testing::ExitedWithCode(kAborted), "");
}

TEST(ThreadBody, ABodyThatReturnsLeavesTheLogAlone) {
  static bool hasRun = false;
  const LogTail log;
  RunOnAThreadOfItsOwn([] { hasRun = true; });
  EXPECT_TRUE(hasRun);
  EXPECT_EQ(log.Messages(), "");
}

}  // namespace
}  // namespace moorlak
