#include "client/log_follower.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/paths.h"
#include "client/interrupt.h"

namespace moorlak::client {
namespace {

constexpr size_t kChunk = 65536;

struct OpenLog {
  KernelHandle file;
  LogFileState state;
  DWORD error = ERROR_SUCCESS;
};

// Shares everything, so that the service can append, rename and delete. Not GENERIC_READ: that includes the extended
// attributes, and the log's access rules grant users only the data.
OpenLog OpenLogFile(const wchar_t* path) {
  OpenLog log;
  log.file.Reset(CreateFileW(path, FILE_READ_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr));
  BY_HANDLE_FILE_INFORMATION information{};
  if (!log.file || !GetFileInformationByHandle(log.file.Get(), &information)) {
    log.error = GetLastError();
    return log;
  }
  log.state.exists = true;
  log.state.identity = {information.dwVolumeSerialNumber,
                        uint64_t{information.nFileIndexHigh} << 32U | information.nFileIndexLow};
  log.state.size = uint64_t{information.nFileSizeHigh} << 32U | information.nFileSizeLow;
  return log;
}

bool SeekTo(HANDLE file, uint64_t offset) {
  LARGE_INTEGER distance{};
  distance.QuadPart = static_cast<LONGLONG>(offset);
  return SetFilePointerEx(file, distance, nullptr, FILE_BEGIN) != FALSE;
}

DWORD ReadRange(LogFollower& follower, HANDLE file, const LogRead& range, const LineSink& sink) {
  if (range.startsAnew) FlushLine(follower.lines, sink);
  if (!SeekTo(file, range.from)) return GetLastError();
  std::vector<char> chunk(kChunk);
  for (uint64_t offset = range.from; offset < range.to;) {
    const DWORD wanted = static_cast<DWORD>(std::min<uint64_t>(range.to - offset, chunk.size()));
    DWORD read = 0;
    if (!ReadFile(file, chunk.data(), wanted, &read, nullptr)) return GetLastError();
    // The file has been emptied; the next pass sees that.
    if (read == 0) return ERROR_SUCCESS;
    FeedLines(follower.lines, {chunk.data(), read}, sink);
    offset += read;
  }
  return ERROR_SUCCESS;
}

bool IsMissing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

}  // namespace

void SkipWrittenLog(LogFollower& follower) {
  const OpenLog current = OpenLogFile(kLogFile);
  if (current.state.exists) follower.position = {true, current.state.identity, current.state.size};
}

DWORD ReadNewLines(LogFollower& follower, const LineSink& sink) {
  // Open the current log first: if it is rotated between the two calls, both see the same file, and it is not missed.
  const OpenLog current = OpenLogFile(kLogFile);
  if (!current.state.exists && !IsMissing(current.error)) return current.error;
  OpenLog rotated;
  if (NeedsRotatedLog(follower.position, current.state)) rotated = OpenLogFile(kRotatedLogFile);
  for (const LogRead& range : PlanLogReads(follower.position, current.state, rotated.state)) {
    const KernelHandle& file = range.generation == LogGeneration::Current ? current.file : rotated.file;
    const DWORD error = ReadRange(follower, file.Get(), range, sink);
    if (error != ERROR_SUCCESS) return error;
  }
  return current.state.exists ? ERROR_SUCCESS : current.error;
}

void FlushUnfinishedLine(LogFollower& follower, const LineSink& sink) {
  FlushLine(follower.lines, sink);
}

bool WaitForLogChange(LogFollower& follower, HANDLE interrupt, DWORD milliseconds) {
  if (!follower.changes) {
    constexpr DWORD kFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
    follower.changes.Reset(FindFirstChangeNotificationW(kLogFolder, FALSE, kFilter));
    // The watch does not report what was written before it began: look at once.
    if (follower.changes) return IsInterrupted(interrupt);
  }
  const std::array<HANDLE, 2> handles{interrupt, follower.changes.Get()};
  const DWORD count = follower.changes ? 2 : 1;
  const DWORD waited = WaitForMultipleObjects(count, handles.data(), FALSE, milliseconds);
  // Close a watch that cannot continue: its handle would prevent a deleted folder from being created again.
  if (waited == WAIT_OBJECT_0 + 1 && !FindNextChangeNotification(follower.changes.Get())) follower.changes.Reset();
  return waited == WAIT_OBJECT_0;
}

}  // namespace moorlak::client
