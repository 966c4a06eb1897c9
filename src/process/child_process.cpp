#include "process/child_process.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "process/handle_list.h"

namespace moorlak {
namespace {

constexpr size_t kReadChunkSize = 4095;

using OwnedAttributeList = UniqueHandle<LPPROC_THREAD_ATTRIBUTE_LIST, DeleteProcThreadAttributeList>;

// Refers to its own memory, to the job and to the handles: none of them may move while it is in use.
struct AttributeList {
  std::vector<std::byte> memory;
  OwnedAttributeList list;
};

bool OpenAttributeList(AttributeList& attributes, DWORD count) {
  SIZE_T size = 0;
  // Queries only the size, so this call fails.
  InitializeProcThreadAttributeList(nullptr, count, 0, &size);
  attributes.memory.resize(size);
  auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes.memory.data());
  if (!InitializeProcThreadAttributeList(list, count, 0, &size)) return false;
  attributes.list.Reset(list);
  return true;
}

bool SetHandles(const AttributeList& attributes, DWORD_PTR attribute, HANDLE* handles, size_t count) {
  return UpdateProcThreadAttribute(attributes.list.Get(), 0, attribute, handles, count * sizeof(HANDLE), nullptr,
                                   nullptr) != FALSE;
}

// Sets the job and exactly these handles to inherit; without handles, that attribute is left out.
bool FillAttributeList(AttributeList& attributes, HANDLE& job, std::vector<HANDLE>& inherited) {
  if (!OpenAttributeList(attributes, inherited.empty() ? 1 : 2) ||
      !SetHandles(attributes, PROC_THREAD_ATTRIBUTE_JOB_LIST, &job, 1)) {
    return false;
  }
  return inherited.empty() ||
         SetHandles(attributes, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited.data(), inherited.size());
}

bool IsInheritable(HANDLE handle) {
  DWORD flags = 0;
  return GetHandleInformation(handle, &flags) && (flags & HANDLE_FLAG_INHERIT) != 0;
}

std::vector<HANDLE> HandlesFor(const ChildOptions& options) {
  if (!options.redirected) return {};
  return InheritableHandles({options.standardInput, options.standardOutput, options.standardError}, IsInheritable);
}

// The number of a handle that the child does not inherit means nothing in it or, worse, means something else.
HANDLE InheritedOrNull(const std::vector<HANDLE>& inherited, HANDLE handle) {
  return std::find(inherited.begin(), inherited.end(), handle) != inherited.end() ? handle : nullptr;
}

STARTUPINFOEXW StartupRecord(const ChildOptions& options, const std::vector<HANDLE>& inherited) {
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof(startup);
  startup.StartupInfo.dwFlags = STARTF_USESHOWWINDOW;
  startup.StartupInfo.wShowWindow = SW_HIDE;
  if (options.redirected) {
    startup.StartupInfo.dwFlags |= STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = InheritedOrNull(inherited, options.standardInput);
    startup.StartupInfo.hStdOutput = InheritedOrNull(inherited, options.standardOutput);
    startup.StartupInfo.hStdError = InheritedOrNull(inherited, options.standardError);
  }
  return startup;
}

KernelHandle CreateKillOnCloseJob() {
  KernelHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (job && !SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits))) {
    job.Reset();
  }
  return job;
}

const wchar_t* TextOrNull(const std::wstring& text) {
  return text.empty() ? nullptr : text.c_str();
}

bool CreateProcessFor(const ChildOptions& options, std::wstring& commandLine, bool inherits, STARTUPINFOW& startup,
                      PROCESS_INFORMATION& created) {
  constexpr DWORD kFlags = CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT;
  const wchar_t* const application = TextOrNull(options.application);
  const wchar_t* const folder = TextOrNull(options.workingFolder);
  if (options.token == nullptr) {
    return CreateProcessW(application, commandLine.data(), nullptr, nullptr, inherits, kFlags, nullptr, folder,
                          &startup, &created) != FALSE;
  }
  // Another account may have no access to this process's desktop.
  wchar_t ownDesktop[] = L"";
  startup.lpDesktop = ownDesktop;
  return CreateProcessAsUserW(options.token, application, commandLine.data(), nullptr, nullptr, inherits, kFlags,
                              nullptr, folder, &startup, &created) != FALSE;
}

// The system puts the child into the job while creating it. If this were a separate step, a crash in between would
// leave a child outside the job.
DWORD CreateInJob(const ChildOptions& options, ChildProcess& child) {
  std::vector<HANDLE> inherited = HandlesFor(options);
  STARTUPINFOEXW startup = StartupRecord(options, inherited);
  HANDLE job = child.job.Get();
  AttributeList attributes;
  if (!FillAttributeList(attributes, job, inherited)) return GetLastError();
  startup.lpAttributeList = attributes.list.Get();
  // CreateProcessW writes into the command line.
  std::wstring commandLine = options.commandLine;
  PROCESS_INFORMATION created{};
  if (!CreateProcessFor(options, commandLine, !inherited.empty(), startup.StartupInfo, created)) return GetLastError();
  child.process.Reset(created.hProcess);
  child.thread.Reset(created.hThread);
  child.id = created.dwProcessId;
  return ERROR_SUCCESS;
}

}  // namespace

DWORD StartChild(const ChildOptions& options, ChildProcess& child) {
  ChildProcess started;
  started.job = CreateKillOnCloseJob();
  if (!started.job) return GetLastError();
  if (const DWORD error = CreateInJob(options, started); error != ERROR_SUCCESS) return error;
  child = std::move(started);
  return ERROR_SUCCESS;
}

void TerminateChild(const ChildProcess& child, UINT exitCode) noexcept {
  if (!TerminateJobObject(child.job.Get(), exitCode)) TerminateProcess(child.process.Get(), exitCode);
}

bool CreateOutputPipe(OutputPipe& pipe, DWORD size) {
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), nullptr, TRUE};
  OutputPipe created;
  if (!CreatePipe(created.readEnd.Out(), created.writeEnd.Out(), &attributes, size) ||
      !SetHandleInformation(created.readEnd.Get(), HANDLE_FLAG_INHERIT, 0)) {
    return false;
  }
  pipe = std::move(created);
  return true;
}

std::string ReadAvailable(HANDLE readEnd, size_t maxBytes) {
  std::string text;
  char chunk[kReadChunkSize];
  DWORD available = 0;
  while (text.size() < maxBytes && PeekNamedPipe(readEnd, nullptr, 0, nullptr, &available, nullptr) && available > 0) {
    const size_t wanted = std::min({size_t{available}, kReadChunkSize, maxBytes - text.size()});
    DWORD got = 0;
    if (!ReadFile(readEnd, chunk, static_cast<DWORD>(wanted), &got, nullptr) || got == 0) break;
    text.append(chunk, got);
  }
  return text;
}

}  // namespace moorlak
