// A session's engine, which one thread starts and another may end at any time.
#pragma once

#include <atomic>
#include <memory>

#include "base/mutex.h"
#include "process/cancellable_wait.h"
#include "process/engine_process.h"

namespace moorlak {

// The lock is never held while an engine is ended, waited for or looked for.
struct EngineSlot {
  Mutex lock;
  // Null if there is no engine.
  std::unique_ptr<ProcessRecord> engine GUARDED_BY(lock);
};

// Puts a launched engine into the slot, unless the session is ending: its record's destructor then ends the engine.
// Whether the slot has an engine. Clear the flag before calling TakeEngine, which then misses none.
bool PublishEngine(EngineSlot& slot, const std::atomic<bool>& running, std::unique_ptr<ProcessRecord> launched);

// Empties the slot; null if it was empty. The caller ends the engine.
std::unique_ptr<ProcessRecord> TakeEngine(EngineSlot& slot);

EngineState StateOf(EngineSlot& slot);

}  // namespace moorlak
