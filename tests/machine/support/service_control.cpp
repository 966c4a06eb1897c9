#include "machine/support/service_control.h"

#include <gtest/gtest.h>
#include <psapi.h>
#include <winternl.h>

#include "base/handle.h"
#include "base/paths.h"
#include "machine/support/handle_count.h"
#include "machine/support/pipe_client.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

ServiceHandle OpenManager() {
  return ServiceHandle(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
}

ServiceHandle OpenTunnelService() {
  const ServiceHandle manager = OpenManager();
  return ServiceHandle(OpenServiceW(manager.Get(), kServiceName, SERVICE_ALL_ACCESS));
}

KernelHandle OpenServiceProcess(DWORD access) {
  const DWORD id = ServiceProcessId();
  return id == 0 ? KernelHandle() : KernelHandle(OpenProcess(access, FALSE, id));
}

// The process environment block points to the process heap, whose flags say what it checks. Both offsets are the same
// in Windows and Wine, but neither documents them.
constexpr uintptr_t kHeapInBlock = 0x30;
constexpr uintptr_t kFlagsInHeap = 0x70;

template <typename Value>
Value ReadFrom(HANDLE process, uintptr_t address) {
  Value value{};
  SIZE_T read = 0;
  EXPECT_TRUE(ReadProcessMemory(process, reinterpret_cast<const void*>(address), &value, sizeof(value), &read))
      << GetLastError();
  return value;
}

}  // namespace

std::wstring InstallFolder() {
  return ExecutableFolder();
}

void InstallService() {
  const ServiceHandle manager = OpenManager();
  ASSERT_TRUE(manager) << GetLastError();
  const std::wstring command = L"\"" + InstallFolder() + L"\\moorlak_service.exe\"";
  const ServiceHandle created(CreateServiceW(manager.Get(), kServiceName, L"Moorlak tunnel service", SERVICE_ALL_ACCESS,
                                             SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                             command.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
  const DWORD error = GetLastError();
  ASSERT_TRUE(created || error == ERROR_SERVICE_EXISTS) << error;
}

void BeginTunnelServiceStart() {
  InstallService();
  const ServiceHandle service = OpenTunnelService();
  ASSERT_TRUE(service) << GetLastError();
  const bool started = StartServiceW(service.Get(), 0, nullptr) != FALSE;
  const DWORD error = GetLastError();
  ASSERT_TRUE(started || error == ERROR_SERVICE_ALREADY_RUNNING) << error;
}

void LaunchTunnelService() {
  ASSERT_NO_FATAL_FAILURE(BeginTunnelServiceStart());
  ASSERT_TRUE(WaitForServiceState(SERVICE_RUNNING));
}

void StartTunnelService() {
  ASSERT_NO_FATAL_FAILURE(LaunchTunnelService());
  ASSERT_EQ(Ask(CommandCode::Ping), "OK");
}

void StopTunnelService() {
  const KernelHandle process = OpenServiceProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION);
  // Wine still reports a process that was killed.
  if (!process || WaitForSingleObject(process.Get(), 0) == WAIT_OBJECT_0) return;
  ControlTunnelService(SERVICE_CONTROL_STOP);
  EXPECT_TRUE(WaitForServiceState(SERVICE_STOPPED));
  EXPECT_EQ(WaitForSingleObject(process.Get(), kLongWaitMs), WAIT_OBJECT_0);
  // A service that dies during a stop is reported as stopped, too.
  DWORD exitCode = STILL_ACTIVE;
  EXPECT_TRUE(GetExitCodeProcess(process.Get(), &exitCode));
  EXPECT_EQ(exitCode, 0u) << "the service did not end, it died";
}

DWORD ControlTunnelService(DWORD control) {
  const ServiceHandle service = OpenTunnelService();
  SERVICE_STATUS status{};
  return ControlService(service.Get(), control, &status) ? NO_ERROR : GetLastError();
}

SERVICE_STATUS_PROCESS QueryTunnelService() {
  SERVICE_STATUS_PROCESS status{};
  status.dwCurrentState = SERVICE_STOPPED;
  const ServiceHandle service = OpenTunnelService();
  DWORD needed = 0;
  if (service) {
    QueryServiceStatusEx(service.Get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof(status),
                         &needed);
  }
  return status;
}

bool WaitForServiceState(DWORD state) {
  return WaitUntil([state] { return QueryTunnelService().dwCurrentState == state; });
}

DWORD PreshutdownTimeout() {
  const ServiceHandle service = OpenTunnelService();
  SERVICE_PRESHUTDOWN_INFO info{};
  DWORD needed = 0;
  EXPECT_TRUE(QueryServiceConfig2W(service.Get(), SERVICE_CONFIG_PRESHUTDOWN_INFO, reinterpret_cast<BYTE*>(&info),
                                   sizeof(info), &needed))
      << GetLastError();
  return info.dwPreshutdownTimeout;
}

void SetPreshutdownTimeout(DWORD milliseconds) {
  const ServiceHandle service = OpenTunnelService();
  SERVICE_PRESHUTDOWN_INFO info{milliseconds};
  EXPECT_TRUE(ChangeServiceConfig2W(service.Get(), SERVICE_CONFIG_PRESHUTDOWN_INFO, &info)) << GetLastError();
}

DWORD ServiceProcessId() {
  return QueryTunnelService().dwProcessId;
}

void KillTunnelService() {
  const KernelHandle process = OpenServiceProcess(PROCESS_TERMINATE | SYNCHRONIZE);
  ASSERT_TRUE(process);
  ASSERT_TRUE(TerminateProcess(process.Get(), 1));
  // Wine's service control manager reports "running" until the next start.
  ASSERT_EQ(WaitForSingleObject(process.Get(), kLongWaitMs), WAIT_OBJECT_0);
}

bool ServiceChecksItsHeap() {
  constexpr DWORD kTailAndFreeChecks = 0x60;  // HEAP_TAIL_CHECKING_ENABLED, HEAP_FREE_CHECKING_ENABLED
  const KernelHandle process = OpenServiceProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ);
  PROCESS_BASIC_INFORMATION information{};
  const LONG status =
      NtQueryInformationProcess(process.Get(), ProcessBasicInformation, &information, sizeof(information), nullptr);
  EXPECT_GE(status, 0);
  const auto block = reinterpret_cast<uintptr_t>(information.PebBaseAddress);
  const auto heap = ReadFrom<uintptr_t>(process.Get(), block + kHeapInBlock);
  return (ReadFrom<DWORD>(process.Get(), heap + kFlagsInHeap) & kTailAndFreeChecks) == kTailAndFreeChecks;
}

ProcessUse ServiceUse() {
  ProcessUse use;
  const KernelHandle process = OpenServiceProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ);
  use.handles = CountHandles(ServiceProcessId());
  PROCESS_MEMORY_COUNTERS memory{};
  EXPECT_TRUE(GetProcessMemoryInfo(process.Get(), &memory, sizeof(memory))) << GetLastError();
  use.privateBytes = memory.PagefileUsage;
  EXPECT_GT(use.handles, 0u);
  EXPECT_GT(use.privateBytes, 0u);
  return use;
}

}  // namespace moorlak::machine
