#include "programs/console/program_call.h"

#include <windows.h>

#include <exception>

#include "base/durable_file.h"
#include "base/utf.h"
#include "programs/console/text.h"

namespace moorlak::lab {
namespace {

std::string OemText(const std::string& text) {
  const std::wstring wide = WidenUtf8(text);
  const int wideSize = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(CP_OEMCP, 0, wide.c_str(), wideSize, nullptr, 0, nullptr, nullptr);
  std::string oem(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_OEMCP, 0, wide.c_str(), wideSize, oem.data(), size, nullptr, nullptr);
  return oem;
}

}  // namespace

Call CallOfThisProcess(const std::string& name) {
  return {name, ArgumentsText(NarrowUtf16(GetCommandLineW()))};
}

// Ignores errors: a program works without standard output, too.
void PrintBytes(const std::string& text) {
  WriteWhole(GetStdHandle(STD_OUTPUT_HANDLE), text);
}

void PrintNoise(const Call& call) {
  if (const std::optional<uint32_t> bytes = TakeFault(call, "print")) PrintBytes(PrintedBytes(*bytes));
}

uint32_t RunProgramCall(const Call& call, const Words& words,
                        const std::function<Outcome(MachineState& state, const Words& words)>& execute) {
  std::string output;
  const uint32_t code = RunCall(call, [&](MachineState& state) {
    const Outcome outcome = execute(state, words);
    if (outcome.unknown)
      state.record.unknownCommands.push_back(call.arguments.empty() ? call.name : call.name + " " + call.arguments);
    output = outcome.output;
    return outcome.exitCode;
  });
  PrintBytes(OemText(output));
  return code;
}

int RunGuarded(const std::string& name, int count, wchar_t** arguments,
               const std::function<int(const Words& words)>& run) {
  try {
    Words words;
    for (int i = 1; i < count; ++i) words.push_back(NarrowUtf16(arguments[i]));
    return run(words);
  } catch (const std::exception& error) {
    WriteWhole(GetStdHandle(STD_ERROR_HANDLE), name + ": " + error.what() + "\n");
    return kLabFailed;
  }
}

}  // namespace moorlak::lab
