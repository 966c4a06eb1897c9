// Waits for a condition with a generous limit: the limit is reached only if something is broken.
#pragma once

#include <windows.h>

#include <algorithm>
#include <chrono>

namespace moorlak {

inline constexpr std::chrono::seconds kLongWait{120};
inline constexpr DWORD kLongWaitMs = 120'000;

// The pause before the next look: four times as long as the last look took, so that looking takes little of a processor
// from what is waited for, and not so long that a test is slower for it.
inline DWORD PauseAfter(std::chrono::steady_clock::duration look) {
  const auto pause = std::chrono::duration_cast<std::chrono::milliseconds>(4 * look).count();
  return static_cast<DWORD>(std::clamp<long long>(pause, 10, 100));
}

// Polls until the condition holds. False if the limit is reached.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds limit = kLongWait) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    const auto begin = std::chrono::steady_clock::now();
    if (condition()) return true;
    const auto end = std::chrono::steady_clock::now();
    if (end >= deadline) return false;
    Sleep(PauseAfter(end - begin));
  }
}

}  // namespace moorlak
