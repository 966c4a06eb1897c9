#include "process/background_commands.h"

#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

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

TEST(BackgroundCommands, AreWaitedForUntilTheLimit) {
  std::promise<void> mayEnd;
  RunInBackground([go = std::make_shared<std::future<void>>(mayEnd.get_future())] { go->wait(); });
  const auto begin = std::chrono::steady_clock::now();
  WaitForBackgroundCommands(300);
  // A sleep may end a little early.
  EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(280));
  mayEnd.set_value();
  WaitForBackgroundCommands(kPatienceMs);
}

TEST(BackgroundCommands, AreAllWaitedFor) {
  auto ended = std::make_shared<std::atomic<int>>(0);
  for (int i = 0; i < 8; ++i) RunInBackground([ended] { ++*ended; });
  WaitForBackgroundCommands(kPatienceMs);
  EXPECT_EQ(*ended, 8);
}

// So short that many of them end while they are still being started.
TEST(BackgroundCommands, AreAllRunHoweverManyEndAtOnce) {
  constexpr int kStarters = 4;
  constexpr int kCommandsEach = 1000;
  auto ended = std::make_shared<std::atomic<int>>(0);
  std::vector<std::thread> starters;
  for (int i = 0; i < kStarters; ++i) {
    starters.emplace_back([ended] {
      for (int k = 0; k < kCommandsEach; ++k) RunInBackground([ended] { ++*ended; });
    });
  }
  for (std::thread& starter : starters) starter.join();
  WaitForBackgroundCommands(60000);
  EXPECT_EQ(*ended, kStarters * kCommandsEach);
}

TEST(BackgroundCommands, WithNoneRunningNobodyWaits) {
  WaitForBackgroundCommands(kPatienceMs);
}

}  // namespace
}  // namespace moorlak
