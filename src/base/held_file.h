// Files that somebody else holds for a moment.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak {

inline constexpr int kHeldFileTries = 10;
inline constexpr DWORD kHeldFilePauseMs = 100;

// Virus scanners, indexers and backup programs open a fresh file, or one that is to go, without sharing its deletion.
// True when the last error tells of that: a sharing violation, or a denied access, which is also what the name of a
// file gives that goes with its last handle and what a replaced file gives that is open ("MoveFileExW" of Microsoft
// Learn).
bool IsHeldBySomebody() noexcept;

// Calls the attempt until it succeeds (its answer counts as true) or fails for another reason, at most ten times, 100
// ms apart: nine tenths of a second. The last answer, and GetLastError as the last attempt left it.
template <typename Attempt>
auto UnlessHeld(Attempt attempt) {
  auto answer = attempt();
  for (int tries = 1; !answer && IsHeldBySomebody() && tries < kHeldFileTries; ++tries) {
    Sleep(kHeldFilePauseMs);
    answer = attempt();
  }
  return answer;
}

// DeleteFileW, tried so. False when the file is still there, or never was; GetLastError tells which.
bool DeleteUnlessHeld(const std::wstring& path) noexcept;

}  // namespace moorlak
