#include "process/background_commands.h"

#include <chrono>
#include <thread>

#include "base/mutex.h"
#include "process/service_end.h"

namespace moorlak {
namespace {

constexpr uint32_t kStepMs = 100;

struct BackgroundCommands {
  Mutex lock;
  uint32_t running GUARDED_BY(lock) = 0;
};
BackgroundCommands commands;

bool AreAnyRunning() {
  const MutexGuard guard(commands.lock);
  return commands.running > 0;
}

}  // namespace

void BeginBackgroundCommand() noexcept {
  const MutexGuard guard(commands.lock);
  ++commands.running;
}

void EndBackgroundCommand() noexcept {
  const MutexGuard guard(commands.lock);
  --commands.running;
}

void WaitForBackgroundCommands(uint32_t limitMs) noexcept {
  const uint32_t steps = GrantedMs(limitMs) / kStepMs;
  uint32_t step = 0;
  do {
    if (!AreAnyRunning()) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(kStepMs));
  } while (++step < steps);
}

}  // namespace moorlak
