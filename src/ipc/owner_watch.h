// The tunnel's owner: the process that sent the last accepted start. If it exits, the tunnel is stopped, so that a
// crashed UI app never leaves the machine's traffic in a tunnel that nobody controls.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "base/handle.h"
#include "base/mutex.h"

namespace moorlak {

// The pipe server's: it outlives the watch, which the server starts and joins.
struct TunnelOwner {
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

// Replaces the owner. Duplicates the process handle, which stays the caller's; if that fails, there is no owner.
// startNumber is the controller's number of the accepted start.
void RecordOwner(TunnelOwner& owner, HANDLE process, const std::wstring& imagePath, uint64_t startNumber);

// Called after a stop command: nothing is left to watch.
void ForgetOwner(TunnelOwner& owner);

// Body of the watch thread: checks the owner every 1000 ms until the stop flag is set or EndOwnerWatch is called. An
// exit after a newer start was accepted stops nothing.
void RunOwnerWatch(TunnelOwner& owner, const std::atomic<bool>& stopFlag);

// Ends the watch at once and permanently.
void EndOwnerWatch(const TunnelOwner& owner);

}  // namespace moorlak
