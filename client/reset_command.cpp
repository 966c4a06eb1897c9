#include <windows.h>

#include "base/handle.h"
#include "base/paths.h"
#include "client/commands.h"
#include "client/reset_report.h"
#include "client/system_error.h"
#include "client/visible_text.h"
#include "inspect/read_machine.h"
#include "service/recovery.h"

namespace moorlak::client {
namespace {

// "TOKEN_ELEVATION structure" on Microsoft Learn.
bool IsElevated() {
  KernelHandle token;
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  return OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Out()) &&
         GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof(elevation), &size) &&
         elevation.TokenIsElevated != 0;
}

ResetView ReadView() {
  ResetView view;
  view.machine = inspect::ReadMachineView();
  view.install = inspect::ReadInstallView(view.machine);
  return view;
}

// Runs the recovery in the service's own program, which has all that it needs, and waits for it: each of its steps has
// its own limit. Only the program next to this one is run, by its full path: whoever can change it can change this one.
// False with GetLastError set if it cannot be run.
bool RunRecovery(DWORD& code) {
  const std::wstring folder = ExecutableFolder();
  const std::wstring program = folder + L"\\moorlak_service.exe";
  std::wstring command = L"\"" + program + L"\" --recover";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                      folder.c_str(), &startup, &started)) {
    return false;
  }
  const KernelHandle process(started.hProcess);
  const KernelHandle thread(started.hThread);
  WaitForSingleObject(process.Get(), INFINITE);
  return GetExitCodeProcess(process.Get(), &code) != FALSE;
}

bool Print(Console& console, const std::vector<std::string>& lines) {
  bool written = true;
  for (const std::string& line : lines) written = written && WriteLine(console.out, VisibleText(line));
  return written;
}

}  // namespace

ExitCode RunReset(Console& console) {
  const ResetView before = ReadView();
  if (const std::string reason = RefuseReset(IsElevated(), before.machine); !reason.empty()) {
    Complain(console, VisibleText(reason));
    return ExitCode::ResetRefused;
  }
  DWORD code = 0;
  if (!RunRecovery(code)) {
    Complain(console, "The recovery cannot be run: " + SystemErrorText(GetLastError()) + ".");
    return ExitCode::Failure;
  }
  if (code == DWORD{kRecoveryNotOurs}) {
    Complain(console, "Another instance of the service manages this computer; nothing was changed.");
    return ExitCode::ResetRefused;
  }
  const bool written = Print(console, ResetReport(before, ReadView()));
  if (code == 0) return written ? ExitCode::Ok : ExitCode::Failure;
  Complain(console, "The recovery failed with code " + std::to_string(code) + ". The log: moorlakctl logs");
  return ExitCode::Failure;
}

}  // namespace moorlak::client
