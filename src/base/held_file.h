// Files that another process holds open for a moment.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak {

inline constexpr int kHeldFileTries = 10;
inline constexpr DWORD kHeldFilePauseMs = 100;

// Virus scanners, indexers and backup programs open a new file, or one that is being deleted, without sharing delete
// access. True if the last error may mean this: a sharing violation, or access denied. Access denied is also the error
// for a name whose file is deleted only when its last handle closes, and for replacing a file that is open
// ("MoveFileExW" on Microsoft Learn).
bool IsHeldBySomebody() noexcept;

// Calls the attempt until it succeeds (its result converts to true) or fails for another reason; at most ten times, 100
// ms apart, so at most 900 ms of pauses. Returns the last result and keeps the last attempt's GetLastError.
template <typename Attempt>
auto UnlessHeld(Attempt attempt) {
  auto answer = attempt();
  for (int tries = 1; !answer && IsHeldBySomebody() && tries < kHeldFileTries; ++tries) {
    Sleep(kHeldFilePauseMs);
    answer = attempt();
  }
  return answer;
}

// DeleteFileW with these retries. False if the file is still there or never was; GetLastError says which.
bool DeleteUnlessHeld(const std::wstring& path) noexcept;

}  // namespace moorlak
