// Follows the tunnel log across its rotation: computes what is still unread from the current state of the files.
//
// When the log has grown beyond its limit, the service renames it and begins a new one; it keeps one renamed
// generation. The reader keeps no file open, so that it never blocks the rename.
#pragma once

#include <cstdint>
#include <vector>

namespace moorlak::client {

// Volume serial number and file index, as in BY_HANDLE_FILE_INFORMATION.
struct FileIdentity {
  uint32_t volume = 0;
  uint64_t index = 0;
  bool operator==(const FileIdentity&) const = default;
};

struct LogFileState {
  bool exists = false;
  FileIdentity identity;
  uint64_t size = 0;
};

// How far the log has been read. `started` is false until a log has been seen.
struct LogPosition {
  bool started = false;
  FileIdentity identity;
  uint64_t offset = 0;
};

enum class LogGeneration { Current, Rotated };

struct LogRead {
  LogGeneration generation = LogGeneration::Current;
  uint64_t from = 0;
  uint64_t to = 0;
  // The bytes do not continue the last read: a line that was begun there counts as complete.
  bool startsAnew = false;
};

// True if the current log is not the file that was read last. The rest of that file may have the rotated name now.
bool NeedsRotatedLog(const LogPosition& position, const LogFileState& current);

// Returns the unread ranges in order and moves the position to their end. A file that has become shorter was emptied
// and is read from its start. If there was more than one rotation between two calls, the lines in between are lost.
std::vector<LogRead> PlanLogReads(LogPosition& position, const LogFileState& current, const LogFileState& rotated);

}  // namespace moorlak::client
