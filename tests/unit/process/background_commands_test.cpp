#include "process/background_commands.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace moorlak {
namespace {

// Far more than any of these tests needs.
constexpr uint32_t kPatienceMs = 600000;

TEST(BackgroundCommands, AreWaitedForUntilTheirLastAct) {
  std::promise<void> mayEnd;
  auto ended = std::make_shared<std::atomic<bool>>(false);
  RunInBackground([go = std::make_shared<std::future<void>>(mayEnd.get_future()), ended] {
    go->wait();
    *ended = true;
  });
  EXPECT_FALSE(*ended);
  std::thread waiter([ended] {
    WaitForBackgroundCommands(kPatienceMs);
    EXPECT_TRUE(*ended);
  });
  mayEnd.set_value();
  waiter.join();
}

TEST(BackgroundCommands, AreWaitedForNoLongerThanTheLimit) {
  std::promise<void> mayEnd;
  RunInBackground([go = std::make_shared<std::future<void>>(mayEnd.get_future())] { go->wait(); });
  WaitForBackgroundCommands(0);
  WaitForBackgroundCommands(200);
  mayEnd.set_value();
  WaitForBackgroundCommands(kPatienceMs);
}

TEST(BackgroundCommands, AreAllWaitedFor) {
  auto ended = std::make_shared<std::atomic<int>>(0);
  for (int i = 0; i < 8; ++i) RunInBackground([ended] { ++*ended; });
  WaitForBackgroundCommands(kPatienceMs);
  EXPECT_EQ(*ended, 8);
}

TEST(BackgroundCommands, WithNoneRunningNobodyWaits) {
  WaitForBackgroundCommands(kPatienceMs);
}

}  // namespace
}  // namespace moorlak
