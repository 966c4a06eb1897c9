#include "programs/console/run_program.h"

#include <windows.h>

#include <exception>

#include "base/durable_file.h"
#include "base/utf.h"
#include "machine/machine.h"
#include "programs/console/text.h"

namespace moorlak::lab {
namespace {

// The lab itself is out of order, which no exit code of these programs means.
constexpr int kLabFailed = 99;

std::string OemText(const std::string& text) {
  const std::wstring wide = WidenUtf8(text);
  const int wideSize = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(CP_OEMCP, 0, wide.c_str(), wideSize, nullptr, 0, nullptr, nullptr);
  std::string oem(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_OEMCP, 0, wide.c_str(), wideSize, oem.data(), size, nullptr, nullptr);
  return oem;
}

// A program without standard output works all the same.
void Print(DWORD stream, const std::string& text) {
  WriteWhole(GetStdHandle(stream), text);
}

int Run(const std::string& name, const Words& words, Execute execute) {
  const Call call{name, ArgumentsText(NarrowUtf16(GetCommandLineW()))};
  if (const std::optional<uint32_t> bytes = TakeFault(call, "print")) Print(STD_OUTPUT_HANDLE, PrintedBytes(*bytes));
  std::string output;
  const uint32_t code = RunCall(call, [&](MachineState& state) {
    const Outcome outcome = execute(state, words);
    if (outcome.unknown)
      state.record.unknownCommands.push_back(call.arguments.empty() ? name : name + " " + call.arguments);
    output = outcome.output;
    return outcome.exitCode;
  });
  Print(STD_OUTPUT_HANDLE, OemText(output));
  return static_cast<int>(code);
}

}  // namespace

int RunProgram(const std::string& name, int count, wchar_t** arguments, Execute execute) {
  try {
    Words words;
    for (int i = 1; i < count; ++i) words.push_back(NarrowUtf16(arguments[i]));
    return Run(name, words, execute);
  } catch (const std::exception& error) {
    Print(STD_ERROR_HANDLE, name + ": " + error.what() + "\n");
    return kLabFailed;
  }
}

}  // namespace moorlak::lab
