// What a wait of the connect sequence looks at besides its own goal.
#pragma once

#include <atomic>
#include <functional>

namespace moorlak {

enum class EngineState { NotStarted, Running, Exited };

// The functions are called on the waiting thread, several times a second, without a lock of the caller's held.
struct SessionWatch {
  // Cleared when the session is to end: that comes first, and only then are the engines stopped.
  const std::atomic<bool>& running;
  std::function<EngineState()> xray;
  std::function<EngineState()> tun2socks;
};

}  // namespace moorlak
