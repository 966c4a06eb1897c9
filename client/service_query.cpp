#include "client/service_query.h"

#include <windows.h>
#include <winsvc.h>

#include <vector>

#include "base/handle.h"
#include "base/utf.h"
#include "ipc/wire_format.h"

namespace moorlak::client {
namespace {

// Null, with GetLastError set, if the service cannot be opened.
ServiceHandle OpenTunnelService(DWORD access) {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (!manager) return ServiceHandle();
  return ServiceHandle(OpenServiceW(manager.Get(), kServiceName, access));
}

ServiceState StateOf(DWORD currentState) {
  switch (currentState) {
    case SERVICE_STOPPED:
      return ServiceState::Stopped;
    case SERVICE_START_PENDING:
      return ServiceState::Starting;
    case SERVICE_STOP_PENDING:
      return ServiceState::Stopping;
    case SERVICE_RUNNING:
      return ServiceState::Running;
    default:
      return ServiceState::Unknown;
  }
}

}  // namespace

ServiceState QueryServiceState() {
  const ServiceHandle service = OpenTunnelService(SERVICE_QUERY_STATUS);
  if (!service) {
    return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? ServiceState::NotInstalled : ServiceState::Unknown;
  }
  SERVICE_STATUS status{};
  return QueryServiceStatus(service.Get(), &status) ? StateOf(status.dwCurrentState) : ServiceState::Unknown;
}

std::string QueryServiceCommandLine() {
  const ServiceHandle service = OpenTunnelService(SERVICE_QUERY_CONFIG);
  if (!service) return {};
  DWORD size = 0;
  QueryServiceConfigW(service.Get(), nullptr, 0, &size);
  if (size < sizeof(QUERY_SERVICE_CONFIGW)) return {};
  std::vector<QUERY_SERVICE_CONFIGW> config(size / sizeof(QUERY_SERVICE_CONFIGW) + 1);
  if (!QueryServiceConfigW(service.Get(), config.data(), size, &size)) return {};
  const wchar_t* const commandLine = config.front().lpBinaryPathName;
  return commandLine == nullptr ? std::string() : NarrowUtf16(commandLine);
}

}  // namespace moorlak::client
