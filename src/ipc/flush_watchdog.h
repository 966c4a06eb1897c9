// A bound for FlushFileBuffers, which waits on a pipe until the reader has taken everything, for ever if need be.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <thread>

namespace moorlak {

// One thread that cancels a flush which takes too long. Watching a flush costs two uncontended locks and as a rule no
// system call: the thread sleeps towards the deadline of some earlier flush and looks then what is to be done.
struct FlushWatchdog {
  using Clock = std::chrono::steady_clock;

  // The system's own primitives, which count on the monotonic clock: a timed wait of this toolchain's condition
  // variable is given a time of the clock that an administrator may set.
  SRWLOCK lock = SRWLOCK_INIT;
  CONDITION_VARIABLE wake = CONDITION_VARIABLE_INIT;
  // All of these are guarded by lock. The pipe is null while nothing is flushed.
  HANDLE pipe = nullptr;
  Clock::time_point deadline;
  // When the thread looks next.
  Clock::time_point nextLook = Clock::time_point::max();
  bool ending = false;

  // Begins last, when everything that it uses stands.
  std::thread thread;

  // Throws std::system_error when no thread can be had.
  FlushWatchdog();
  FlushWatchdog(const FlushWatchdog&) = delete;
  FlushWatchdog& operator=(const FlushWatchdog&) = delete;
  // No flush may be under way.
  ~FlushWatchdog();
};

// Waits until the peer has read all that was written to the pipe, until it has gone, or until the limit is over. True
// in the first case. One flush at a time; the handle stays the caller's and may be closed afterwards.
bool FlushWithin(FlushWatchdog& watchdog, HANDLE pipe, uint32_t limitMs);

}  // namespace moorlak
