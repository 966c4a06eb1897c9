#include "machine/support/child.h"

#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>

#include "base/durable_file.h"
#include "support/files.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

std::wstring NewOutputFile() {
  static std::atomic<int> counter{0};
  const auto name = L"machine_test_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++counter);
  return (std::filesystem::temp_directory_path() / name).wstring();
}

}  // namespace

Child::~Child() {
  if (process) Kill(*this);
  if (!outputFile.empty()) DeleteFileW(outputFile.c_str());
}

Child StartProgram(const std::wstring& commandLine, HANDLE standardInput) {
  Child child;
  child.outputFile = NewOutputFile();
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  const KernelHandle output(CreateFileW(child.outputFile.c_str(), GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inheritable,
                                        CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = standardInput;
  startup.hStdOutput = output.Get();
  startup.hStdError = output.Get();
  PROCESS_INFORMATION information{};
  std::wstring command = commandLine;
  EXPECT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr,
                             &startup, &information))
      << "error " << GetLastError();
  child.process = KernelHandle(information.hProcess);
  child.processId = information.dwProcessId;
  const KernelHandle thread(information.hThread);
  return child;
}

bool WaitForExit(const Child& child, DWORD limitMs) {
  return WaitForSingleObject(child.process.Get(), limitMs) == WAIT_OBJECT_0;
}

DWORD ExitCode(const Child& child) {
  DWORD code = STILL_ACTIVE;
  GetExitCodeProcess(child.process.Get(), &code);
  return code;
}

std::string Output(const Child& child) {
  return ReadSharedFile(child.outputFile);
}

void Kill(Child& child) {
  TerminateProcess(child.process.Get(), 1);
  WaitForSingleObject(child.process.Get(), kLongWaitMs);
}

std::string RunProgram(const std::wstring& commandLine, DWORD& exitCode) {
  const Child child = StartProgram(commandLine);
  EXPECT_TRUE(WaitForExit(child));
  exitCode = ExitCode(child);
  return Output(child);
}

}  // namespace moorlak::machine
