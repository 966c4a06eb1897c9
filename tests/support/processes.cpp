#include "support/processes.h"

#include <tlhelp32.h>

#include <gtest/gtest.h>

#include "base/handle.h"
#include "support/wait.h"

namespace moorlak {
namespace {

// Wine still lists some processes that have ended.
bool IsAlive(DWORD id) {
  const KernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, id));
  return process && WaitForSingleObject(process.Get(), 0) == WAIT_TIMEOUT;
}

}  // namespace

std::vector<RunningProcess> ProcessesNamed(const std::wstring& image) {
  std::vector<RunningProcess> found;
  const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more; more = Process32NextW(snapshot.Get(), &entry)) {
    if (_wcsicmp(entry.szExeFile, image.c_str()) == 0 && IsAlive(entry.th32ProcessID)) {
      found.push_back({entry.th32ProcessID, entry.th32ParentProcessID});
    }
  }
  return found;
}

DWORD WaitForProcess(const std::wstring& image) {
  std::vector<RunningProcess> found;
  WaitUntil([&] {
    found = ProcessesNamed(image);
    return !found.empty();
  });
  return found.empty() ? 0 : found.front().id;
}

bool WaitForNone(const std::wstring& image) {
  return WaitUntil([&] { return ProcessesNamed(image).empty(); });
}

std::vector<DWORD> ThreadsOf(DWORD processId) {
  std::vector<DWORD> threads;
  const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot.Get(), &entry); more; more = Thread32Next(snapshot.Get(), &entry)) {
    if (entry.th32OwnerProcessID == processId) threads.push_back(entry.th32ThreadID);
  }
  return threads;
}

void KillProcess(DWORD id) {
  const KernelHandle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
  ASSERT_TRUE(process) << GetLastError();
  EXPECT_TRUE(TerminateProcess(process.Get(), 1));
  EXPECT_EQ(WaitForSingleObject(process.Get(), kLongWaitMs), WAIT_OBJECT_0);
}

}  // namespace moorlak
