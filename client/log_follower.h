// Reads the tunnel log as it grows, across its rotation.
#pragma once

#include <windows.h>

#include <cstdint>

#include "base/handle.h"
#include "client/line_assembler.h"
#include "client/log_position.h"

namespace moorlak::client {

using ChangeNotification = UniqueHandle<HANDLE, FindCloseChangeNotification>;

struct LogFollower {
  LogPosition position;
  LineAssembler lines;
  // Of the log folder; empty while the folder does not exist.
  ChangeNotification changes;
};

// Treats everything written so far as read.
void SkipWrittenLog(LogFollower& follower);

// Calls the sink with the complete lines written since the last call. Returns 0 or the system's error:
// ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND if the log does not exist.
DWORD ReadNewLines(LogFollower& follower, const LineSink& sink);

// Calls the sink with what has been read of an unfinished line.
void FlushUnfinishedLine(LogFollower& follower, const LineSink& sink);

// Waits until the log may have changed, the interrupt is set or the time is over; may return early. Returns true for
// the interrupt, which must be an event.
bool WaitForLogChange(LogFollower& follower, HANDLE interrupt, DWORD milliseconds);

}  // namespace moorlak::client
