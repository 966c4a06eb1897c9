#include "lab/programs/installed.h"

#include <gtest/gtest.h>

#include "base/utf.h"
#include "process/hidden_command.h"

namespace moorlak::lab {
namespace {

std::wstring TestFolder() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of(L'\\') + 1);
}

std::wstring SystemFolder() {
  wchar_t folder[MAX_PATH];
  return {folder, GetSystemDirectoryW(folder, MAX_PATH)};
}

}  // namespace

std::wstring LabFile(const std::wstring& name) {
  return TestFolder() + L"..\\..\\..\\..\\lab\\" + name;
}

std::wstring FileNextToTests(const std::wstring& name) {
  return TestFolder() + name;
}

std::wstring InSystemFolder(const std::wstring& name) {
  return SystemFolder() + L"\\" + name;
}

bool Replace(const std::wstring& source, const std::wstring& target) {
  DeleteFileW(target.c_str());
  return CopyFileW(source.c_str(), target.c_str(), TRUE) != 0;
}

bool PreferNative(const std::wstring& name, const std::wstring& program) {
  const std::wstring order = L"native,builtin";
  const std::wstring key = program.empty() ? L"Software\\Wine\\DllOverrides"
                                           : L"Software\\Wine\\AppDefaults\\" + program + L"\\DllOverrides";
  return RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), name.c_str(), REG_SZ, order.c_str(),
                         static_cast<DWORD>((order.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

RunningCommand::RunningCommand(const std::wstring& application, const std::string& commandLine)
    : job(CreateJobObjectW(nullptr, nullptr)) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  KernelHandle writeEnd;
  EXPECT_TRUE(CreatePipe(readEnd.Out(), writeEnd.Out(), &inherited, 0));
  SetHandleInformation(readEnd.Get(), HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = writeEnd.Get();
  std::wstring line = WidenUtf8(commandLine);
  PROCESS_INFORMATION started{};
  EXPECT_TRUE(CreateProcessW(application.empty() ? nullptr : application.c_str(), line.data(), nullptr, nullptr, TRUE,
                             CREATE_NO_WINDOW | CREATE_SUSPENDED, nullptr, nullptr, &startup, &started))
      << commandLine;
  process.Reset(started.hProcess);
  const KernelHandle thread(started.hThread);
  EXPECT_TRUE(AssignProcessToJobObject(job.Get(), process.Get()));
  ResumeThread(thread.Get());
}

RunningCommand::~RunningCommand() {
  TerminateJobObject(job.Get(), 98);
}

Ended RunningCommand::Wait() const {
  Ended ended;
  char part[4096];
  DWORD size = 0;
  while (ReadFile(readEnd.Get(), part, sizeof part, &size, nullptr) && size != 0) ended.output.append(part, size);
  EXPECT_EQ(WaitForSingleObject(process.Get(), kPatienceMs), WAIT_OBJECT_0);
  GetExitCodeProcess(process.Get(), &ended.exitCode);
  return ended;
}

Ended RunCommand(const std::string& command) {
  const HiddenCommandLine composed = ComposeHiddenCommand(command, NarrowUtf16(SystemFolder()));
  return RunningCommand(WidenUtf8(composed.application), composed.commandLine).Wait();
}

}  // namespace moorlak::lab
