#include "ipc/flush_watchdog.h"

#include "base/thread_body.h"

namespace moorlak {
namespace {

// A cancel can come a moment before the flush has reached the kernel, and is then lost.
constexpr std::chrono::milliseconds kCancelInterval{100};

// The lock is held while a flush is cancelled, so the pipe is still open then.
FlushWatchdog::Clock::time_point LookLocked(const FlushWatchdog& watchdog) {
  if (watchdog.pipe == nullptr) return FlushWatchdog::Clock::time_point::max();
  const auto now = FlushWatchdog::Clock::now();
  if (now < watchdog.deadline) return watchdog.deadline;
  CancelIoEx(watchdog.pipe, nullptr);
  return now + kCancelInterval;
}

void RunWatchdog(FlushWatchdog& watchdog) {
  std::unique_lock guard(watchdog.lock);
  while (!watchdog.ending) {
    watchdog.nextLook = LookLocked(watchdog);
    if (watchdog.nextLook == FlushWatchdog::Clock::time_point::max()) {
      watchdog.wake.wait(guard);
    } else {
      watchdog.wake.wait_until(guard, watchdog.nextLook);
    }
  }
}

void Arm(FlushWatchdog& watchdog, HANDLE pipe, uint32_t limitMs) {
  const auto deadline = FlushWatchdog::Clock::now() + std::chrono::milliseconds(limitMs);
  const std::lock_guard guard(watchdog.lock);
  watchdog.pipe = pipe;
  watchdog.deadline = deadline;
  // The thread is asked to look anew only if it would sleep past this deadline.
  if (watchdog.nextLook > deadline) watchdog.wake.notify_one();
}

void Disarm(FlushWatchdog& watchdog) {
  const std::lock_guard guard(watchdog.lock);
  watchdog.pipe = nullptr;
}

}  // namespace

FlushWatchdog::FlushWatchdog()
    : thread([this] { RunThreadBody("IPC flush watchdog", [this] { RunWatchdog(*this); }); }) {}

FlushWatchdog::~FlushWatchdog() {
  {
    const std::lock_guard guard(lock);
    ending = true;
  }
  wake.notify_one();
  thread.join();
}

bool FlushWithin(FlushWatchdog& watchdog, HANDLE pipe, uint32_t limitMs) {
  Arm(watchdog, pipe, limitMs);
  const bool flushed = FlushFileBuffers(pipe) != FALSE;
  Disarm(watchdog);
  return flushed;
}

}  // namespace moorlak
