// Reads the tunnel log as it grows, across rotation.
#pragma once

#include <windows.h>

#include <cstdint>

#include "base/handle.h"
#include "client/line_assembler.h"
#include "client/log_position.h"

namespace moorlak {

struct ChangeNotificationTraits {
  using Type = HANDLE;
  static Type Empty() noexcept { return INVALID_HANDLE_VALUE; }
  static bool IsValid(Type handle) noexcept { return handle != INVALID_HANDLE_VALUE && handle != nullptr; }
  static void Close(Type handle) noexcept { FindCloseChangeNotification(handle); }
};
using ChangeNotification = UniqueHandle<ChangeNotificationTraits>;

struct LogFollower {
  LogPosition position;
  LineAssembler lines;
  // Of the log folder; empty while the folder does not exist.
  ChangeNotification changes;
};

// Everything written so far counts as read.
void SkipWrittenLog(LogFollower& follower);

// Hands out the complete lines written since the last call. Returns 0 or the system's error; a log that does not exist
// is ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND.
DWORD ReadNewLines(LogFollower& follower, const LineSink& sink);

// Hands out what has been read of a line that nobody has finished.
void FlushUnfinishedLine(LogFollower& follower, const LineSink& sink);

// Returns when the log may have changed, when the interrupt is set or when the time is over; true for the interrupt,
// which must be an event. It may return early.
bool WaitForLogChange(LogFollower& follower, HANDLE interrupt, DWORD milliseconds);

}  // namespace moorlak
