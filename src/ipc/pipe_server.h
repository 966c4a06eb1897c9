// The control pipe: one thread, one client at a time, one request and one reply for each connection.
#pragma once

#include <atomic>

namespace moorlak {

// Body of the pipe thread; returns when the stop flag is set, after the owner watch that it started has ended.
void RunPipeServer(const std::atomic<bool>& stopFlag);

// Makes a pending connect return; call after setting the stop flag.
void WakePipeServer() noexcept;

}  // namespace moorlak
