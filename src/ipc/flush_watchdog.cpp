#include "ipc/flush_watchdog.h"

#include <algorithm>

#include "base/threads.h"

namespace moorlak {
namespace {

// Cancels are repeated: one that comes just before the flush has reached the kernel is lost.
constexpr std::chrono::milliseconds kCancelInterval{100};

// Holds the lock for a scope.
class MOORLAK_THREAD_SAFETY(scoped_lockable) ExclusiveGuard {
 public:
  explicit ExclusiveGuard(ExclusiveLock& guarded) MOORLAK_THREAD_SAFETY(acquire_capability(guarded)) : lock(guarded) {
    AcquireSRWLockExclusive(&lock.system);
  }
  ExclusiveGuard(const ExclusiveGuard&) = delete;
  ExclusiveGuard& operator=(const ExclusiveGuard&) = delete;
  ~ExclusiveGuard() MOORLAK_THREAD_SAFETY(release_capability()) { ReleaseSRWLockExclusive(&lock.system); }

 private:
  ExclusiveLock& lock;
};

// The lock is held, so the pipe is still open while its flush is cancelled.
FlushWatchdog::Clock::time_point LookLocked(const FlushWatchdog& watchdog) REQUIRES(watchdog.lock) {
  if (watchdog.pipe == nullptr) return FlushWatchdog::Clock::time_point::max();
  const auto now = FlushWatchdog::Clock::now();
  if (now < watchdog.deadline) return watchdog.deadline;
  CancelIoEx(watchdog.pipe, nullptr);
  return now + kCancelInterval;
}

DWORD MillisecondsUntil(FlushWatchdog::Clock::time_point time) {
  if (time == FlushWatchdog::Clock::time_point::max()) return INFINITE;
  const int64_t left = std::chrono::ceil<std::chrono::milliseconds>(time - FlushWatchdog::Clock::now()).count();
  return static_cast<DWORD>(std::clamp<int64_t>(left, 0, INFINITE - 1));
}

void RunWatchdog(FlushWatchdog& watchdog) {
  const ExclusiveGuard guard(watchdog.lock);
  while (!watchdog.ending) {
    watchdog.nextLook = LookLocked(watchdog);
    SleepConditionVariableSRW(&watchdog.wake, &watchdog.lock.system, MillisecondsUntil(watchdog.nextLook), 0);
  }
}

void Arm(FlushWatchdog& watchdog, HANDLE pipe, uint32_t limitMs) {
  const auto deadline = FlushWatchdog::Clock::now() + std::chrono::milliseconds(limitMs);
  const ExclusiveGuard guard(watchdog.lock);
  watchdog.pipe = pipe;
  watchdog.deadline = deadline;
  // Wakes the thread only if it would sleep past this deadline.
  if (watchdog.nextLook > deadline) WakeConditionVariable(&watchdog.wake);
}

void Disarm(FlushWatchdog& watchdog) {
  const ExclusiveGuard guard(watchdog.lock);
  watchdog.pipe = nullptr;
}

}  // namespace

FlushWatchdog::FlushWatchdog()
    : thread([this] { RunThreadBody("IPC flush watchdog", [this] { RunWatchdog(*this); }); }) {}

FlushWatchdog::~FlushWatchdog() {
  {
    const ExclusiveGuard guard(lock);
    ending = true;
  }
  WakeConditionVariable(&wake);
  thread.join();
}

bool FlushWithin(FlushWatchdog& watchdog, HANDLE pipe, uint32_t limitMs) {
  Arm(watchdog, pipe, limitMs);
  const bool flushed = FlushFileBuffers(pipe) != FALSE;
  Disarm(watchdog);
  return flushed;
}

}  // namespace moorlak
