// A time limit for FlushFileBuffers, which waits on a pipe until the reader has taken everything, possibly for ever.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <thread>

#include "base/mutex.h"

namespace moorlak {

// The system's own lock, for its condition variables.
struct MOORLAK_THREAD_SAFETY(capability("mutex")) ExclusiveLock {
  SRWLOCK system = SRWLOCK_INIT;
};

// One thread that cancels a flush which takes too long. Watching a flush costs two uncontended locks and usually no
// system call: the thread sleeps until the deadline of some earlier flush and checks then.
struct FlushWatchdog {
  using Clock = std::chrono::steady_clock;

  // The system's own primitives, which use the monotonic clock: a timed wait of this toolchain's condition variable
  // uses a clock that an administrator may set.
  ExclusiveLock lock;
  CONDITION_VARIABLE wake = CONDITION_VARIABLE_INIT;
  // Null while no flush runs.
  HANDLE pipe GUARDED_BY(lock) = nullptr;
  Clock::time_point deadline GUARDED_BY(lock);
  // When the thread checks next.
  Clock::time_point nextLook GUARDED_BY(lock) = Clock::time_point::max();
  bool ending GUARDED_BY(lock) = false;

  // Last, so that it starts after everything that it uses is initialised.
  std::thread thread;

  // Throws std::system_error if no thread can be created.
  FlushWatchdog();
  FlushWatchdog(const FlushWatchdog&) = delete;
  FlushWatchdog& operator=(const FlushWatchdog&) = delete;
  // No flush may be running.
  ~FlushWatchdog();
};

// Waits until the peer has read everything written to the pipe, until it has gone, or until the limit is over. True in
// the first case. One flush at a time; the caller keeps the handle and may close it afterwards.
bool FlushWithin(FlushWatchdog& watchdog, HANDLE pipe, uint32_t limitMs);

}  // namespace moorlak
