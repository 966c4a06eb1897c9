// What a wait of a session checks besides its own goal, and the only sleeping primitive of sessions and probes.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace moorlak {

enum class EngineState { NotStarted, Running, Exited };

// The functions are called on the waiting thread, several times a second, while the caller holds no lock.
struct SessionWatch {
  // Cleared when the session is ending, always before the engines are stopped.
  const std::atomic<bool>& running;
  std::function<EngineState()> xray;
  std::function<EngineState()> tun2socks;
};

// Sleeps for the duration in steps of at most 100 ms while running is set, so that clearing the flag ends every wait
// within about 100 ms. Returns at once for a duration below 1. Returns the flag's value afterwards.
bool WaitWhileRunning(const std::atomic<bool>& running, int32_t durationMs);

// The length of the next step of such a wait after sleptMs: 250 ms are slept as 100, 100 and 50. 0 when the wait is
// over.
int32_t NextWaitStep(int32_t durationMs, int32_t sleptMs);

}  // namespace moorlak
