// Sources, pages of Microsoft Learn: "QueryServiceStatusEx", "QueryServiceConfigW", "QueryServiceConfig2W".
#include <windows.h>
#include <winsvc.h>

#include <cstddef>
#include <vector>

#include "base/handle.h"
#include "base/paths.h"
#include "base/utf.h"
#include "inspect/read_parts.h"
#include "ipc/wire_format.h"

namespace moorlak::inspect {
namespace {

using Buffer = std::vector<std::max_align_t>;

ServiceRun RunOf(DWORD state) {
  switch (state) {
    case SERVICE_STOPPED:
      return ServiceRun::Stopped;
    case SERVICE_START_PENDING:
      return ServiceRun::Starting;
    case SERVICE_RUNNING:
      return ServiceRun::Running;
    case SERVICE_STOP_PENDING:
      return ServiceRun::Stopping;
    default:
      return ServiceRun::Unknown;
  }
}

ServiceStart StartOf(DWORD type) {
  switch (type) {
    case SERVICE_AUTO_START:
      return ServiceStart::Automatic;
    case SERVICE_DEMAND_START:
      return ServiceStart::Manual;
    case SERVICE_DISABLED:
      return ServiceStart::Disabled;
    default:
      return ServiceStart::Other;
  }
}

std::string TextOf(const wchar_t* text) {
  return text != nullptr ? NarrowUtf16(text) : std::string();
}

// Calls twice, first for the size; empty if it fails. The record points to texts in the same memory, so the buffer must
// not be copied.
template <typename Call>
Buffer ReadSized(Call call) {
  DWORD size = 0;
  call(nullptr, 0, &size);
  Buffer buffer(size / sizeof(std::max_align_t) + 1);
  size = static_cast<DWORD>(buffer.size() * sizeof(std::max_align_t));
  if (!call(reinterpret_cast<BYTE*>(buffer.data()), size, &size)) buffer.clear();
  return buffer;
}

void ReadState(SC_HANDLE service, ServiceView& view) {
  SERVICE_STATUS_PROCESS status{};
  DWORD size = 0;
  if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof(status), &size)) {
    return;
  }
  view.run = RunOf(status.dwCurrentState);
  view.processId = status.dwProcessId;
}

void ReadConfig(SC_HANDLE service, ServiceView& view) {
  const Buffer buffer = ReadSized([=](BYTE* memory, DWORD size, DWORD* needed) {
    return QueryServiceConfigW(service, reinterpret_cast<QUERY_SERVICE_CONFIGW*>(memory), size, needed);
  });
  if (buffer.empty()) return;
  const auto& config = *reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(buffer.data());
  view.start = StartOf(config.dwStartType);
  view.account = TextOf(config.lpServiceStartName);
  view.commandLine = TextOf(config.lpBinaryPathName);
}

void ReadFailureActions(SC_HANDLE service, ServiceView& view) {
  const Buffer buffer = ReadSized([=](BYTE* memory, DWORD size, DWORD* needed) {
    return QueryServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, memory, size, needed);
  });
  if (buffer.empty()) return;
  view.restartsAfterCrash = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(buffer.data())->cActions != 0;
}

ServiceView ReadService(SC_HANDLE manager, const wchar_t* name) {
  ServiceView view;
  view.name = NarrowUtf16(name);
  const ServiceHandle service(OpenServiceW(manager, name, SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG));
  if (!service) {
    if (GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST) view.run = ServiceRun::NotInstalled;
    return view;
  }
  ReadState(service.Get(), view);
  ReadConfig(service.Get(), view);
  ReadFailureActions(service.Get(), view);
  return view;
}

}  // namespace

void ReadServices(MachineView& view) {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  view.service = ReadService(manager.Get(), kServiceName);
  view.filteringEngine = ReadService(manager.Get(), L"BFE");
  if (view.service.run == ServiceRun::Unknown || view.filteringEngine.run == ServiceRun::Unknown) {
    view.unread.emplace_back("the services");
  }
}

// The program is the command line's first word, in quotes or up to ".exe".
std::wstring InstallFolderOf(const ServiceView& service) {
  std::wstring command = WidenUtf8(service.commandLine);
  const bool isQuoted = command.starts_with(L'"');
  if (isQuoted) command.erase(0, 1);
  const size_t end = command.find(isQuoted ? L"\"" : L".exe");
  const std::wstring folder = FolderOf(command.substr(0, end));
  return folder.empty() ? ExecutableFolder() : folder;
}

}  // namespace moorlak::inspect
