#include "process/cancellable_wait.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace moorlak {
namespace {

constexpr int32_t kLongestStepMs = 100;

// A sleep may end early (a signal, a coarse timer); it is resumed until its deadline has passed.
void SleepWhole(int32_t stepMs) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(stepMs);
  while (Clock::now() < deadline) std::this_thread::sleep_until(deadline);
}

}  // namespace

int32_t NextWaitStep(int32_t durationMs, int32_t sleptMs) {
  if (sleptMs >= durationMs) return 0;
  return std::min(durationMs - sleptMs, kLongestStepMs);
}

bool WaitWhileRunning(const std::atomic<bool>& running, int32_t durationMs) {
  int32_t sleptMs = 0;
  while (running) {
    const int32_t stepMs = NextWaitStep(durationMs, sleptMs);
    if (stepMs == 0) break;
    SleepWhole(stepMs);
    sleptMs += stepMs;
  }
  return running;
}

}  // namespace moorlak
