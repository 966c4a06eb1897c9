#include <windows.h>
#include <tlhelp32.h>

#include <string>

#include "base/guarded.h"
#include "base/handle.h"
#include "base/paths.h"
#include "process/stray_engines.h"

namespace moorlak {
namespace {

// Not 0: a configuration test that is ended must not look passed.
constexpr UINT kEndedCode = 1;

void EndWhenUnder(const std::wstring& folder, DWORD processId) {
  const KernelHandle process(OpenProcess(PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  if (process && IsUnderFolder(ImagePath(process.Get()), folder)) TerminateProcess(process.Get(), kEndedCode);
}

void KillEngines() {
  const std::wstring folder = ExecutableFolder();
  const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (folder.empty() || !snapshot) return;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more; more = Process32NextW(snapshot.Get(), &entry)) {
    if (IsEngineName(entry.szExeFile)) EndWhenUnder(folder, entry.th32ProcessID);
  }
}

}  // namespace

void KillStrayEngines() noexcept {
  Guarded(KillEngines);
}

}  // namespace moorlak
