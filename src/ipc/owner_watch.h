// The tunnel's owner: the process that sent the last accepted start. When it goes, the tunnel goes, so that a crashed
// UI app never leaves the machine's traffic in a tunnel that nobody controls.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace moorlak {

// Replaces the owner. The process handle is duplicated and stays the caller's; when that fails there is no owner.
// startNumber is the controller's number of the accepted start.
void RecordOwner(HANDLE process, const std::wstring& imagePath, uint64_t startNumber);

// Called after a stop command: there is nothing left to watch over.
void ForgetOwner();

// Body of the watch thread: looks at the owner every 1000 ms until the stop flag is set or EndOwnerWatch is called. An
// exit after a newer start was accepted stops nothing.
void RunOwnerWatch(const std::atomic<bool>& stopFlag);

// Ends the watch at once, for good.
void EndOwnerWatch();

}  // namespace moorlak
