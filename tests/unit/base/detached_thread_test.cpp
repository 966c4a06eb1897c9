#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <utility>
#include <vector>

#include "base/threads.h"

namespace moorlak {
namespace {

TEST(DetachedThread, RunsItsBodyWithWhatItOwns) {
  std::promise<int> answered;
  std::future<int> answer = answered.get_future();
  StartDetachedThread(
      [owned = std::make_unique<int>(7), answered = std::move(answered)]() mutable { answered.set_value(*owned); });
  EXPECT_EQ(answer.get(), 7);
}

TEST(DetachedThread, IsOneOfManyThatEndAtOnce) {
  constexpr int kThreads = 2000;
  std::vector<std::future<void>> ends;
  for (int i = 0; i < kThreads; ++i) {
    std::promise<void> ended;
    ends.push_back(ended.get_future());
    StartDetachedThread([ended = std::move(ended)]() mutable { ended.set_value(); });
  }
  for (std::future<void>& end : ends) EXPECT_EQ(end.wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

}  // namespace
}  // namespace moorlak
