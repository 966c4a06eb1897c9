#include "ipc/owner_watch.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

#include "base/handle.h"
#include "base/log.h"
#include "ipc/caller_verification.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {
namespace {

constexpr std::chrono::milliseconds kPollInterval{1000};

struct OwnerRecord {
  // The owner lock; it guards every field. The controller is never called with it held.
  std::mutex lock;
  std::condition_variable ended;
  KernelHandle process;
  std::wstring imagePath;
  uint64_t startNumber = 0;
  // Counts the owners recorded so far.
  uint64_t generation = 0;
  bool ending = false;
};

// What remains of an owner that has gone.
struct ExitedOwner {
  uint64_t startNumber;
  uint64_t generation;
};

// Never destroyed: the watch thread may still look at it while the process ends.
OwnerRecord& Owner() {
  static OwnerRecord& owner = *new OwnerRecord;
  return owner;
}

void ClearLocked(OwnerRecord& owner) {
  owner.process.Reset();
  owner.imagePath.clear();
}

std::optional<ExitedOwner> TakeExitedLocked(OwnerRecord& owner) {
  if (!owner.process || WaitForSingleObject(owner.process.Get(), 0) != WAIT_OBJECT_0) return std::nullopt;
  ClearLocked(owner);
  return ExitedOwner{owner.startNumber, owner.generation};
}

bool IsLastOwner(OwnerRecord& owner, uint64_t generation) {
  const std::lock_guard guard(owner.lock);
  return owner.generation == generation;
}

void StopOrphanedTunnel(const ExitedOwner& exited) {
  // An owner recorded since has taken the tunnel over. A start that is accepted but not recorded yet shows in the
  // controller's number.
  if (!IsLastOwner(Owner(), exited.generation)) return;
  TunnelController& controller = TunnelController::Instance();
  if (!controller.IsRunning() || controller.startNumber != exited.startNumber) return;
  WriteLogLine("UI process exited while tunnel up — stopping orphaned tunnel");
  controller.StopIfCurrent(exited.startNumber);
}

}  // namespace

void RecordOwner(HANDLE process, const std::wstring& imagePath, uint64_t startNumber) {
  OwnerRecord& owner = Owner();
  const std::lock_guard guard(owner.lock);
  ClearLocked(owner);
  const HANDLE self = GetCurrentProcess();
  if (!DuplicateHandle(self, process, self, owner.process.Out(), kCallerAccess, FALSE, 0)) {
    WriteLogLine("IPC owner: DuplicateHandle failed");
    return;
  }
  owner.startNumber = startNumber;
  ++owner.generation;
  owner.imagePath = imagePath;
}

void ForgetOwner() {
  OwnerRecord& owner = Owner();
  const std::lock_guard guard(owner.lock);
  ClearLocked(owner);
}

void RunOwnerWatch(const std::atomic<bool>& stopFlag) {
  OwnerRecord& owner = Owner();
  std::unique_lock guard(owner.lock);
  while (!stopFlag && !owner.ended.wait_for(guard, kPollInterval, [&] { return owner.ending; })) {
    const auto exited = TakeExitedLocked(owner);
    if (!exited) continue;
    guard.unlock();
    StopOrphanedTunnel(*exited);
    guard.lock();
  }
}

void EndOwnerWatch() {
  OwnerRecord& owner = Owner();
  {
    const std::lock_guard guard(owner.lock);
    owner.ending = true;
  }
  owner.ended.notify_all();
}

}  // namespace moorlak
