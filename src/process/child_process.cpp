#include "process/child_process.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "process/handle_list.h"

namespace moorlak {
namespace {

struct AttributeListTraits {
  using Type = LPPROC_THREAD_ATTRIBUTE_LIST;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type list) noexcept { return list != nullptr; }
  static void Close(Type list) noexcept { DeleteProcThreadAttributeList(list); }
};

// An attribute list with one entry, the handles. It refers to its own memory and to the handles: neither may move
// while it is in use.
struct HandleListAttribute {
  std::vector<std::byte> memory;
  UniqueHandle<AttributeListTraits> list;
};

bool FillHandleListAttribute(HandleListAttribute& attribute, std::vector<HANDLE>& handles) {
  SIZE_T size = 0;
  // Asks for the size only, and so fails.
  InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
  attribute.memory.resize(size);
  auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attribute.memory.data());
  if (!InitializeProcThreadAttributeList(list, 1, 0, &size)) return false;
  attribute.list.Reset(list);
  return UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                   handles.size() * sizeof(HANDLE), nullptr, nullptr) != FALSE;
}

bool IsInheritable(HANDLE handle) {
  DWORD flags = 0;
  return GetHandleInformation(handle, &flags) && (flags & HANDLE_FLAG_INHERIT) != 0;
}

std::vector<HANDLE> HandlesFor(const ChildOptions& options) {
  if (!options.redirected) return {};
  return InheritableHandles({options.standardInput, options.standardOutput, options.standardError}, IsInheritable);
}

// A handle that the child does not inherit is a number without meaning in it, or worse, the number of something else.
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

DWORD CreateSuspended(const ChildOptions& options, ChildProcess& child) {
  std::vector<HANDLE> inherited = HandlesFor(options);
  STARTUPINFOEXW startup = StartupRecord(options, inherited);
  HandleListAttribute attribute;
  if (!inherited.empty()) {
    if (!FillHandleListAttribute(attribute, inherited)) return GetLastError();
    startup.lpAttributeList = attribute.list.Get();
  }
  // CreateProcessW writes into the command line.
  std::wstring commandLine = options.commandLine;
  PROCESS_INFORMATION created{};
  if (!CreateProcessW(TextOrNull(options.application), commandLine.data(), nullptr, nullptr, !inherited.empty(),
                      CREATE_NO_WINDOW | CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT, nullptr,
                      TextOrNull(options.workingFolder), &startup.StartupInfo, &created)) {
    return GetLastError();
  }
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
  if (const DWORD error = CreateSuspended(options, started); error != ERROR_SUCCESS) return error;
  if (!AssignProcessToJobObject(started.job.Get(), started.process.Get()) ||
      ResumeThread(started.thread.Get()) == static_cast<DWORD>(-1)) {
    const DWORD error = GetLastError();
    TerminateProcess(started.process.Get(), 1);
    return error;
  }
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

}  // namespace moorlak
