#include "machine/support/raw_caller.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string_view>

#include "base/durable_file.h"
#include "base/paths.h"
#include "base/utf.h"
#include "machine/support/pipe_client.h"

namespace moorlak::machine {
namespace {

constexpr std::string_view kCallerArgument = "--caller";
constexpr size_t kMaxConfigBytes = 1u << 20;

void Print(std::string_view line) {
  std::printf("%.*s\n", static_cast<int>(line.size()), line.data());
  std::fflush(stdout);
}

int RunAsk(const char* argument) {
  const int count = std::atoi(argument);
  int answered = 0;
  for (int i = 0; i < count; ++i) answered += Ask(CommandCode::Ping).has_value() ? 1 : 0;
  Print(std::to_string(answered) + " of " + std::to_string(count) + " answered");
  return 0;
}

int RunStart(bool proxyMode, const char* configFile) {
  const auto config = ReadWholeFile(WidenUtf8(configFile), kMaxConfigBytes);
  if (!config) return 1;
  Print(Ask(CommandCode::Start, EncodeStartPayload(proxyMode, *config)).value_or("(no reply)"));
  Sleep(INFINITE);
  return 0;
}

int RunWhere() {
  Print(NarrowUtf16(ExecutablePath()));
  return 0;
}

int RunHold() {
  const KernelHandle pipe = ConnectPipe();
  if (!pipe) return 1;
  Print(std::to_string(reinterpret_cast<uintptr_t>(pipe.Get())));
  Sleep(INFINITE);
  return 0;
}

}  // namespace

bool IsCaller(int argumentCount, char** arguments) {
  return argumentCount > 2 && arguments[1] == kCallerArgument;
}

int RunCaller(int argumentCount, char** arguments) {
  const std::string_view role = arguments[2];
  if (role == "ask" && argumentCount == 4) return RunAsk(arguments[3]);
  if (role == "start" && argumentCount == 4) return RunStart(true, arguments[3]);
  if (role == "connect" && argumentCount == 4) return RunStart(false, arguments[3]);
  if (role == "where") return RunWhere();
  if (role == "hold") return RunHold();
  return 2;
}

std::wstring CallerCommand(const std::wstring& role, const std::wstring& program) {
  return L"\"" + (program.empty() ? ExecutablePath() : program) + L"\" --caller " + role;
}

std::wstring CopyThisProgramTo(const std::wstring& folder) {
  CreateDirectoryW(folder.c_str(), nullptr);
  std::wstring copy = folder + L"\\other_caller.exe";
  EXPECT_TRUE(CopyFileW(ExecutablePath().c_str(), copy.c_str(), FALSE)) << GetLastError();
  return copy;
}

}  // namespace moorlak::machine
