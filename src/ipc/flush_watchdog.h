// A time limit for FlushFileBuffers, which waits on a pipe until the reader has taken everything, possibly for ever.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <thread>

namespace moorlak {

// One thread that cancels a flush which takes too long. Watching a flush costs two uncontended locks and usually no
// system call: the thread sleeps until the deadline of some earlier flush and checks then.
struct FlushWatchdog {
  using Clock = std::chrono::steady_clock;

  // The system's own primitives, which use the monotonic clock: a timed wait of this toolchain's condition variable
  // uses a clock that an administrator may set.
  SRWLOCK lock = SRWLOCK_INIT;
  CONDITION_VARIABLE wake = CONDITION_VARIABLE_INIT;
  // All of these are guarded by lock. The pipe is null while no flush runs.
  HANDLE pipe = nullptr;
  Clock::time_point deadline;
  // When the thread checks next.
  Clock::time_point nextLook = Clock::time_point::max();
  bool ending = false;

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
