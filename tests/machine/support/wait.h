// Waits for a condition with a generous limit: the limit is reached only if something is broken.
#pragma once

#include <windows.h>

#include <chrono>

namespace moorlak::machine {

inline constexpr std::chrono::seconds kLongWait{30};

// Polls until the condition holds. False if the limit is reached.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds limit = kLongWait) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    Sleep(10);
  }
  return true;
}

}  // namespace moorlak::machine
