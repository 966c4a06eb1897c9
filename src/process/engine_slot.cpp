#include "process/engine_slot.h"

#include <utility>

namespace moorlak {

bool PublishEngine(EngineSlot& slot, const std::atomic<bool>& running, std::unique_ptr<ProcessRecord> launched) {
  const MutexGuard guard(slot.lock);
  if (running) slot.engine = std::move(launched);
  return slot.engine != nullptr;
}

std::unique_ptr<ProcessRecord> TakeEngine(EngineSlot& slot) {
  const MutexGuard guard(slot.lock);
  return std::move(slot.engine);
}

EngineState StateOf(EngineSlot& slot) {
  const MutexGuard guard(slot.lock);
  if (!slot.engine) return EngineState::NotStarted;
  return IsRunning(*slot.engine) ? EngineState::Running : EngineState::Exited;
}

}  // namespace moorlak
