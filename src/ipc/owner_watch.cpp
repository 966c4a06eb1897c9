#include "ipc/owner_watch.h"

#include <optional>
#include <stdexcept>

#include "base/handle.h"
#include "base/log.h"
#include "base/mutex.h"
#include "ipc/caller_verification.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {
namespace {

constexpr DWORD kPollIntervalMs = 1000;
constexpr char kOrphanedLine[] = "UI process exited while tunnel up — stopping orphaned tunnel";

struct OwnerRecord {
  // Never held while calling the controller.
  Mutex lock;
  // Manual-reset; set once, to end the watch. A wait for it uses the monotonic clock, which a condition variable of
  // this toolchain does not.
  const KernelHandle ended{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  KernelHandle process GUARDED_BY(lock);
  std::wstring imagePath GUARDED_BY(lock);
  uint64_t startNumber GUARDED_BY(lock) = 0;
  // Counts the owners recorded so far.
  uint64_t generation GUARDED_BY(lock) = 0;
};

// What is kept of an owner that has exited.
struct ExitedOwner {
  uint64_t startNumber;
  uint64_t generation;
};

// Never destroyed: the watch thread may still use it while the process ends.
OwnerRecord& Owner() {
  static OwnerRecord& owner = *new OwnerRecord;
  return owner;
}

void ClearLocked(OwnerRecord& owner) REQUIRES(owner.lock) {
  owner.process.Reset();
  owner.imagePath.clear();
}

std::optional<ExitedOwner> TakeExited(OwnerRecord& owner) {
  const MutexGuard guard(owner.lock);
  if (!owner.process || WaitForSingleObject(owner.process.Get(), 0) != WAIT_OBJECT_0) return std::nullopt;
  ClearLocked(owner);
  return ExitedOwner{owner.startNumber, owner.generation};
}

bool IsLastOwner(OwnerRecord& owner, uint64_t generation) {
  const MutexGuard guard(owner.lock);
  return owner.generation == generation;
}

}  // namespace

void RecordOwner(HANDLE process, const std::wstring& imagePath, uint64_t startNumber) {
  OwnerRecord& owner = Owner();
  const MutexGuard guard(owner.lock);
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
  const MutexGuard guard(owner.lock);
  ClearLocked(owner);
}

void RunOwnerWatch(const std::atomic<bool>& stopFlag) {
  OwnerRecord& owner = Owner();
  if (!owner.ended) throw std::runtime_error("no event to wait for");
  while (!stopFlag && WaitForSingleObject(owner.ended.Get(), kPollIntervalMs) == WAIT_TIMEOUT) {
    const auto exited = TakeExited(owner);
    // If another owner was recorded since, it has taken the tunnel over. A start that is accepted but not recorded yet
    // is detected by the controller's number.
    if (exited && IsLastOwner(owner, exited->generation)) {
      TunnelController::Instance().StopIfCurrent(exited->startNumber, kOrphanedLine);
    }
  }
}

void EndOwnerWatch() {
  SetEvent(Owner().ended.Get());
}

}  // namespace moorlak
