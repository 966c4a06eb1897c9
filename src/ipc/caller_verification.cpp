#include "ipc/caller_verification.h"

#include <windows.h>

#include "base/log.h"
#include "base/paths.h"
#include "base/system_function.h"
#include "base/trust.h"
#include "ipc/install_folder.h"

namespace moorlak {
namespace {

// GetNamedPipeClientComputerNameW fails with ERROR_PIPE_LOCAL for a client on this machine. Not every system exports
// it; one that does not has no way in from outside either.
bool IsRemoteClient(HANDLE pipe) {
  using Query = BOOL(WINAPI*)(HANDLE, LPWSTR, ULONG);
  static const auto query = FindSystemFunction<Query>(L"kernel32.dll", "GetNamedPipeClientComputerNameW");
  if (query == nullptr) return false;
  wchar_t name[MAX_PATH] = L"";
  return query(pipe, name, sizeof(name)) || GetLastError() != ERROR_PIPE_LOCAL;
}

bool Reject(const std::string& reason) {
  WriteLogLine("IPC reject: " + reason);
  return false;
}

}  // namespace

bool VerifyCaller(HANDLE pipe, CallerRecord& caller) {
  caller = {};
  ULONG processId = 0;
  if (!GetNamedPipeClientProcessId(pipe, &processId) || processId == 0 || IsRemoteClient(pipe)) {
    return Reject("caller pid unavailable");
  }
  return VerifyProcess(processId, caller);
}

bool VerifyProcess(uint32_t processId, CallerRecord& caller) {
  caller = {};
  KernelHandle process(OpenProcess(kCallerAccess, FALSE, processId));
  if (!process) return Reject("OpenProcess failed for pid " + std::to_string(processId));
  std::wstring imagePath = ImagePath(process.Get());
  if (imagePath.empty()) return Reject("caller image path unavailable");
  if (!IsInInstallFolder(imagePath, ExecutableFolder())) return Reject("caller outside install directory");
  caller.userSid = UserSid(process.Get());
  if (caller.userSid.empty()) WriteLogLine("IPC warn: caller user SID unavailable");
  caller.process = std::move(process);
  caller.imagePath = std::move(imagePath);
  return true;
}

bool RecheckCaller(const CallerRecord& caller) {
  switch (WaitForSingleObject(caller.process.Get(), 0)) {
    case WAIT_TIMEOUT:
      break;
    case WAIT_OBJECT_0:
      return Reject("caller process exited before command handled");
    default:
      return Reject("caller process wait failed err=" + std::to_string(GetLastError()));
  }
  const std::wstring imagePath = ImagePath(caller.process.Get());
  if (imagePath.empty()) return Reject("caller image re-query failed");
  if (!IsInInstallFolder(imagePath, ExecutableFolder())) return Reject("caller path changed outside install directory");
  return true;
}

}  // namespace moorlak
