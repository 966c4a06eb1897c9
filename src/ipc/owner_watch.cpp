#include "ipc/owner_watch.h"

#include <optional>
#include <stdexcept>

#include "base/log.h"
#include "ipc/caller_verification.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {
namespace {

constexpr DWORD kPollIntervalMs = 1000;
constexpr char kOrphanedLine[] = "UI process exited while tunnel up — stopping orphaned tunnel";

// What is kept of an owner that has exited.
struct ExitedOwner {
  uint64_t startNumber;
  uint64_t generation;
};

void ClearLocked(TunnelOwner& owner) REQUIRES(owner.lock) {
  owner.process.Reset();
  owner.imagePath.clear();
}

std::optional<ExitedOwner> TakeExited(TunnelOwner& owner) {
  const MutexGuard guard(owner.lock);
  if (!owner.process || WaitForSingleObject(owner.process.Get(), 0) != WAIT_OBJECT_0) return std::nullopt;
  ClearLocked(owner);
  return ExitedOwner{owner.startNumber, owner.generation};
}

bool IsLastOwner(TunnelOwner& owner, uint64_t generation) {
  const MutexGuard guard(owner.lock);
  return owner.generation == generation;
}

}  // namespace

void RecordOwner(TunnelOwner& owner, HANDLE process, const std::wstring& imagePath, uint64_t startNumber) {
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

void ForgetOwner(TunnelOwner& owner) {
  const MutexGuard guard(owner.lock);
  ClearLocked(owner);
}

void RunOwnerWatch(TunnelOwner& owner, const std::atomic<bool>& stopFlag) {
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

void EndOwnerWatch(const TunnelOwner& owner) {
  SetEvent(owner.ended.Get());
}

}  // namespace moorlak
