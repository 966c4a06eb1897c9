// Following the tunnel log across its rotation: what is still unread, given what the files look like now.
//
// The service renames the log to a second name when it has grown beyond its limit and begins a new one; there is one
// such generation. The reader keeps no file open, so that it never stands in the way of that.
#pragma once

#include <cstdint>
#include <vector>

namespace moorlak {

// Volume serial number and file index, as BY_HANDLE_FILE_INFORMATION gives them.
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

// Up to where the log has been read. `started` is false as long as no log has been seen.
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
  // The bytes do not continue what was read last: a line begun there is complete.
  bool startsAnew = false;
};

// True when the current log is not the file that was read last: the rest of that one may lie under the rotated name.
bool NeedsRotatedLog(const LogPosition& position, const LogFileState& current);

// The unread ranges in order; the position moves behind them. A file that has become shorter was emptied and is read
// from its start. More than one rotation between two calls loses what lay in between.
std::vector<LogRead> PlanLogReads(LogPosition& position, const LogFileState& current, const LogFileState& rotated);

}  // namespace moorlak
