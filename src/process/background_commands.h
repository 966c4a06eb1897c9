// Work that outlives the call that started it, counted so that a teardown can wait for it.
#pragma once

#include <cstdint>
#include <exception>
#include <utility>

#include "base/threads.h"

namespace moorlak {

// The count's two ends; only RunInBackground calls them.
void BeginBackgroundCommand() noexcept;
void EndBackgroundCommand() noexcept;

// Runs the work on its own thread, or inline if no thread can be created; counted as running until it has fully
// finished. The work must own what it uses and must not throw, nor may copying it: without memory it must still run.
template <typename Work>
void RunInBackground(Work work) noexcept {
  BeginBackgroundCommand();
  const auto counted = [work = std::move(work)] {
    work();
    EndBackgroundCommand();
  };
  try {
    StartDetachedThread(counted);
  } catch (const std::exception&) {
    counted();
  }
}

// Waits until no background command runs, for about the limit at most, in steps of 100 ms; checks at least once. While
// the service ends, the limit is at most the time left for that (process/service_end.h).
void WaitForBackgroundCommands(uint32_t limitMs) noexcept;

}  // namespace moorlak
