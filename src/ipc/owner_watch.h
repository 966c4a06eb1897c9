// The tunnel's owner: the process that sent the last accepted start. If it exits, the tunnel is stopped, so that a
// crashed UI app never leaves the machine's traffic in a tunnel that nobody controls.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace moorlak {

// Replaces the owner. Duplicates the process handle, which stays the caller's; if that fails, there is no owner.
// startNumber is the controller's number of the accepted start.
void RecordOwner(HANDLE process, const std::wstring& imagePath, uint64_t startNumber);

// Called after a stop command: nothing is left to watch.
void ForgetOwner();

// Body of the watch thread: checks the owner every 1000 ms until the stop flag is set or EndOwnerWatch is called. An
// exit after a newer start was accepted stops nothing.
void RunOwnerWatch(const std::atomic<bool>& stopFlag);

// Ends the watch at once and permanently.
void EndOwnerWatch();

}  // namespace moorlak
