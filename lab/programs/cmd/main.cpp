// The command shell, as far as the service uses it: "cmd.exe /C PROGRAM WORDS" runs the program in the shell's own
// console and with its standard handles, waits for it, and exits with its code. Anything that a real shell would do
// more with (several commands, redirections, variables) is refused and added to the machine's unknown command lines:
// the service must never send it.
//
// Wine's own shell would do, too, but each of its starts takes as long as three of this one.
#include <windows.h>

#include <string>
#include <string_view>

#include "base/handle.h"
#include "base/utf.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr std::wstring_view kSwitch = L"/C ";
constexpr std::wstring_view kShellCharacters = L"&|<>^%!()\r\n";
// What the shell itself exits with if there is no such program.
constexpr int kNotFound = 9009;
constexpr int kRefused = 1;

int Refuse(std::wstring_view line) {
  if (HasMachine()) {
    EditMachine([&](MachineState& state) { state.record.unknownCommands.push_back(NarrowUtf16(std::wstring(line))); });
  }
  return kRefused;
}

int RunAndWait(std::wstring program) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(nullptr, program.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started)) {
    return kNotFound;
  }
  const KernelHandle process(started.hProcess);
  const KernelHandle thread(started.hThread);
  WaitForSingleObject(process.Get(), INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(process.Get(), &code);
  return static_cast<int>(code);
}

}  // namespace
}  // namespace moorlak::lab

int wmain() {
  using namespace moorlak::lab;
  const std::wstring_view line = GetCommandLineW();
  const size_t begin = line.find(kSwitch);
  if (begin == std::wstring_view::npos || line.find_first_of(kShellCharacters) != std::wstring_view::npos) {
    return Refuse(line);
  }
  return RunAndWait(std::wstring(line.substr(begin + kSwitch.size())));
}
