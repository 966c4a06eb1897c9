#include "machine/support/ctrl_c.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include "base/paths.h"
#include "machine/support/child.h"

namespace moorlak::machine {
namespace {

constexpr std::string_view kRole = "--press-ctrl-c";

// The key also reaches this process.
BOOL WINAPI Ignore(DWORD /*control*/) {
  return TRUE;
}

}  // namespace

bool PressCtrlC(DWORD processId) {
  DWORD exitCode = 1;
  RunProgram(L"\"" + ExecutablePath() + L"\" --press-ctrl-c " + std::to_wstring(processId), exitCode);
  return exitCode == 0;
}

bool IsCtrlC(int argumentCount, char** arguments) {
  return argumentCount == 3 && arguments[1] == kRole;
}

int RunCtrlC(char** arguments) {
  FreeConsole();
  if (!AttachConsole(static_cast<DWORD>(std::atoi(arguments[2])))) return 2;
  SetConsoleCtrlHandler(Ignore, TRUE);
  return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) ? 0 : 3;
}

}  // namespace moorlak::machine
