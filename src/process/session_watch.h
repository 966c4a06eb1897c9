// What a wait of the connect sequence checks besides its own goal.
#pragma once

#include <atomic>
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

}  // namespace moorlak
