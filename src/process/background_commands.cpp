#include "process/background_commands.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "base/mutex.h"
#include "process/service_end.h"

namespace moorlak {
namespace {

constexpr uint32_t kStepMs = 100;

std::atomic<uint32_t> runningCommands{0};
// Held while a command decrements the count: a thread that has taken it once knows that this is over, too.
Mutex finishLock;

}  // namespace

void BeginBackgroundCommand() noexcept {
  ++runningCommands;
}

void EndBackgroundCommand() noexcept {
  const MutexGuard guard(finishLock);
  --runningCommands;
}

void WaitForBackgroundCommands(uint32_t limitMs) noexcept {
  const uint32_t steps = GrantedMs(limitMs) / kStepMs;
  uint32_t step = 0;
  do {
    if (runningCommands == 0) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(kStepMs));
  } while (++step < steps);
  const MutexGuard guard(finishLock);
}

}  // namespace moorlak
