// The control pipe: one thread, one client at a time, one request and one reply for each connection.
#pragma once

#include <atomic>
#include <cstdint>

namespace moorlak {

// Makes refused callers wait: a program that hammers the pipe must not keep the service busy refusing it. One for the
// whole pipe.
struct RejectionThrottle {
  // Needed because tick 0 is a valid time and cannot mean "no period yet".
  bool periodKnown = false;
  // In milliseconds, from a counter that wraps every 49.7 days (GetTickCount).
  uint32_t periodStart = 0;
  uint32_t count = 0;
};

// Counts one rejection at the given tick. Returns the milliseconds to sleep before the next connection is accepted:
// none for the first six of a period of 5001 ms, then 40, 80, and so on up to 2000.
uint32_t RecordRejection(RejectionThrottle& throttle, uint32_t tick);

// Body of the pipe thread; returns when the stop flag is set, after the owner watch that it started has ended.
void RunPipeServer(const std::atomic<bool>& stopFlag);

// Makes a pending connect return; call after setting the stop flag.
void WakePipeServer() noexcept;

}  // namespace moorlak
