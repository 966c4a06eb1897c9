#include "machine/processes.h"

#include <windows.h>
#include <tlhelp32.h>

#include "base/handle.h"
#include "base/utf.h"

namespace moorlak::lab {
namespace {

// The exit code of a killed process.
constexpr UINT kKilledExitCode = 137;
constexpr DWORD kEndPatienceMs = 10000;

void EndProcess(DWORD process) {
  const KernelHandle handle(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, process));
  if (!handle) return;
  TerminateProcess(handle.Get(), kKilledExitCode);
  WaitForSingleObject(handle.Get(), kEndPatienceMs);
}

}  // namespace

bool IsProcessAlive(uint32_t process) {
  const KernelHandle handle(OpenProcess(SYNCHRONIZE, FALSE, process));
  // A process that this one may not open is alive.
  if (!handle) return GetLastError() == ERROR_ACCESS_DENIED;
  return WaitForSingleObject(handle.Get(), 0) == WAIT_TIMEOUT;
}

std::string ProgramName() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return NarrowUtf16(path.substr(path.find_last_of(L'\\') + 1));
}

bool EndProcesses(const std::string& image) {
  const std::wstring wanted = WidenUtf8(image);
  const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  bool found = false;
  bool self = false;
  for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more; more = Process32NextW(snapshot.Get(), &entry)) {
    if (CompareStringOrdinal(entry.szExeFile, -1, wanted.c_str(), -1, TRUE) != CSTR_EQUAL) continue;
    found = true;
    if (entry.th32ProcessID == GetCurrentProcessId()) {
      self = true;
    } else {
      EndProcess(entry.th32ProcessID);
    }
  }
  if (self) TerminateProcess(GetCurrentProcess(), kKilledExitCode);
  return found;
}

}  // namespace moorlak::lab
