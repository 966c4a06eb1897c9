#include "service/console_host.h"

#include <windows.h>

#include <string_view>
#include <thread>

#include "base/handle.h"
#include "base/log.h"
#include "base/threads.h"
#include "base/utf.h"
#include "process/install_look.h"
#include "service/process_host.h"
#include "service/recovery.h"
#include "tunnel/protection.h"

namespace moorlak {
namespace {

// Static and never closed: the reader thread and the control handler may use them until the process ends.
struct ConsoleEvents {
  HANDLE stopRequested = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE cleanedUp = CreateEventW(nullptr, TRUE, FALSE, nullptr);
};

ConsoleEvents& Events() {
  static ConsoleEvents& events = *new ConsoleEvents;
  return events;
}

// Windows ends the process when this returns for a closing window, so it returns only after the clean-up.
BOOL WINAPI HandleConsoleControl(DWORD /*control*/) {
  SetEvent(Events().stopRequested);
  WaitForSingleObject(Events().cleanedUp, INFINITE);
  return TRUE;
}

// The pipe's owner is LocalSystem. Any other account may set that owner only with this privilege, which an elevated
// administrator has, but disabled.
void EnableRestorePrivilege() {
  KernelHandle token;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Out())) return;
  TOKEN_PRIVILEGES privileges{};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!LookupPrivilegeValueW(nullptr, SE_RESTORE_NAME, &privileges.Privileges[0].Luid)) return;
  AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr);
}

void Print(std::wstring_view line) {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD written = 0;
  if (WriteConsoleW(output, line.data(), static_cast<DWORD>(line.size()), &written, nullptr)) return;
  const std::string text = NarrowUtf16(line);
  WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

// One character, the end of input, or a failure: each ends the console mode. Does not use the C library's streams: a
// thread waiting in one of them holds its lock, and the process could then not exit.
void AwaitOneCharacter() {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  wchar_t character = 0;
  DWORD got = 0;
  if (!ReadConsoleW(input, &character, 1, &got, nullptr)) ReadFile(input, &character, 1, &got, nullptr);
}

// A blocked console read cannot be interrupted, so it has its own thread.
void StartEnterReader() {
  StartDetachedThread([] {
    RunThreadBody("console reader", [] {
      AwaitOneCharacter();
      SetEvent(Events().stopRequested);
    });
  });
}

}  // namespace

void RunInConsole() {
  WriteLogLine("MoorlakTunnel console mode");
  Print(L"Moorlak tunnel service (console mode)\r\n");
  LogWhatOthersCanChange();
  EnableRestorePrivilege();
  SetConsoleCtrlHandler(HandleConsoleControl, TRUE);
  const InstanceClaim claim;
  if (claim.IsFirst()) RecoverEarlierSession(*MachineProtection(), {});
  BeginLife();
  if (claim.IsFirst()) StartDnsRecovery();
  std::thread pipeThread = StartPipeThread();
  Print(L"Press Enter to stop...\r\n");
  StartEnterReader();
  WaitForSingleObject(Events().stopRequested, INFINITE);
  BeginStop();
  pipeThread.join();
  EndTunnel();
  SetEvent(Events().cleanedUp);
}

}  // namespace moorlak
