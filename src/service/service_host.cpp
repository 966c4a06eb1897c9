#include "service/service_host.h"

#include <windows.h>

#include <string>

#include "base/handle.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/standard_error.h"
#include "base/threads.h"
#include "ipc/wire_format.h"
#include "process/install_look.h"
#include "service/hardening.h"
#include "service/process_host.h"
#include "service/recovery.h"
#include "service/tunnel_log.h"
#include "tunnel/protection.h"

namespace moorlak {
namespace {

constexpr DWORD kAcceptedControls = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PRESHUTDOWN;
constexpr DWORD kStartWaitHintMs = 3000;
constexpr DWORD kStopWaitHintMs = 45000;
constexpr DWORD kPreshutdownMs = 60000;

// For who starts the program by hand.
constexpr char kStartedByHand[] =
    "This is a Windows service. To start it: sc start MoorlakTunnel. To run it in this window: "
    "moorlak_service --console";

// Both the main routine and the control handler report.
struct ServiceState {
  Mutex lock;
  SERVICE_STATUS_HANDLE handle GUARDED_BY(lock) = nullptr;
  SERVICE_STATUS status GUARDED_BY(lock){SERVICE_WIN32_OWN_PROCESS, 0, 0, NO_ERROR, 0, 0, 0};
  // Written under the lock, and by the main routine only, which alone waits on it without the lock.
  KernelHandle stopEvent;
};
ServiceState service;

void ReportLocked(DWORD state, DWORD controls, DWORD waitHintMs) REQUIRES(service.lock) {
  // After it was told "stopped", the service control manager may have invalidated the handle.
  if (service.handle == nullptr || service.status.dwCurrentState == SERVICE_STOPPED) return;
  // A check point belongs to one pending operation.
  if (service.status.dwCurrentState != state) service.status.dwCheckPoint = 0;
  service.status.dwCurrentState = state;
  service.status.dwControlsAccepted = controls;
  service.status.dwWaitHint = waitHintMs;
  SetServiceStatus(service.handle, &service.status);
}

void Report(DWORD state, DWORD controls, DWORD waitHintMs) {
  const MutexGuard guard(service.lock);
  ReportLocked(state, controls, waitHintMs);
}

// The accepted controls stay as last reported.
void ReportStopped() {
  const MutexGuard guard(service.lock);
  ReportLocked(SERVICE_STOPPED, service.status.dwControlsAccepted, 0);
}

// The service control manager treats a start without progress as failed.
void ReportStartProgress() {
  const MutexGuard guard(service.lock);
  if (service.status.dwCurrentState != SERVICE_START_PENDING) return;
  ++service.status.dwCheckPoint;
  ReportLocked(SERVICE_START_PENDING, 0, kStartWaitHintMs);
}

void LogAdapterMissing() {
  WriteLogLine("MoorlakTunnel: persistent adapter setup failed (will retry on disconnect)");
}

void RequestStop() {
  Report(SERVICE_STOP_PENDING, kAcceptedControls, kStopWaitHintMs);
  BeginStop();
  const MutexGuard guard(service.lock);
  if (service.stopEvent) SetEvent(service.stopEvent.Get());
}

// False if there is no event to wait on; the exit code then says why.
bool CreateStopEvent() {
  const MutexGuard guard(service.lock);
  service.stopEvent = KernelHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (service.stopEvent) return true;
  service.status.dwWin32ExitCode = GetLastError();
  return false;
}

void CloseStopEvent() {
  const MutexGuard guard(service.lock);
  service.stopEvent.Reset();
  service.status.dwWin32ExitCode = NO_ERROR;
}

// When the system shuts down, Windows waits ten seconds for a service unless the service's configuration says otherwise
// ("SERVICE_PRESHUTDOWN_INFO structure" on Microsoft Learn). Without the right to change it, ten seconds must do.
void RequestTimeAtShutdown() {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (!manager) return;
  const ServiceHandle own(OpenServiceW(manager.Get(), kServiceName, SERVICE_CHANGE_CONFIG));
  if (!own) return;
  SERVICE_PRESHUTDOWN_INFO wanted{kPreshutdownMs};
  ChangeServiceConfig2W(own.Get(), SERVICE_CONFIG_PRESHUTDOWN_INFO, &wanted);
}

void ServeUntilStopped() {
  const InstanceClaim claim;
  if (claim.IsFirst()) {
    RecoverEarlierSession(*MachineProtection(), {LogAdapterMissing, ReportStartProgress});
    StartDnsRecovery();
  }
  std::thread pipeThread = StartPipeThread();
  Report(SERVICE_RUNNING, kAcceptedControls, 0);
  RequestTimeAtShutdown();
  WaitForSingleObject(service.stopEvent.Get(), INFINITE);
  BeginStop();
  WriteLogLine("MoorlakTunnel: stopping tunnel");
  Report(SERVICE_STOP_PENDING, kAcceptedControls, kStopWaitHintMs);
  EndTunnel();
  pipeThread.join();
  CloseStopEvent();
  WriteLogLine("MoorlakTunnel: stopped");
}

void RunService() {
  WriteLogLine("MoorlakTunnel service starting");
  WriteSessionBanner("tunnel_service");
  {
    const MutexGuard guard(service.lock);
    service.handle = RegisterServiceCtrlHandlerExW(kServiceName, HandleServiceControl, nullptr);
    if (service.handle == nullptr) return;
    ReportLocked(SERVICE_START_PENDING, 0, kStartWaitHintMs);
  }
  LogWhatOthersCanChange();
  if (CreateStopEvent()) {
    BeginLife();
    ServeUntilStopped();
  }
  ReportStopped();
}

void WINAPI ServiceMain(DWORD /*argumentCount*/, wchar_t** /*arguments*/) {
  RunThreadBody("service main", RunService);
}

}  // namespace

DWORD WINAPI HandleServiceControl(DWORD control, DWORD /*eventType*/, void* /*eventData*/, void* /*context*/) {
  if (control == SERVICE_CONTROL_STOP || control == SERVICE_CONTROL_PRESHUTDOWN) RequestStop();
  return NO_ERROR;
}

int RunAsService() {
  RemoveUnusedPrivileges();
  std::wstring name = kServiceName;
  const SERVICE_TABLE_ENTRYW table[] = {{name.data(), ServiceMain}, {nullptr, nullptr}};
  if (StartServiceCtrlDispatcherW(table)) return 0;
  const DWORD error = GetLastError();
  WriteLogLine("StartServiceCtrlDispatcher failed: " + std::to_string(error));
  if (error == ERROR_FAILED_SERVICE_CONTROLLER_CONNECT) WriteStandardErrorLine(kStartedByHand);
  return static_cast<int>(error);
}

}  // namespace moorlak
