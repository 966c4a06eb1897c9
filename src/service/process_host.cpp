#include "service/process_host.h"

#include <windows.h>

#include <setupapi.h>

#include "base/guarded.h"
#include "base/log.h"
#include "base/trust.h"
#include "ipc/pipe_server.h"
#include "process/service_end.h"
#include "tunnel/dns_recovery.h"
#include "tunnel/protection.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {
namespace {

constexpr wchar_t kInstanceMutexName[] = L"Global\\Moorlak_TunnelService";
// Anyone may read its owner, but no other user may wait for it: who can wait for a mutex can hold it.
constexpr wchar_t kInstanceAccess[] = L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;RC;;;WD)";

// Without the right to wait, only to read the owner.
KernelHandle OpenForALook() {
  return KernelHandle(OpenMutexW(READ_CONTROL, FALSE, kInstanceMutexName));
}

KernelHandle OpenInstanceMutex() {
  const auto descriptor = OwnedDescriptor(kInstanceAccess);
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  return KernelHandle(CreateMutexExW(&attributes, kInstanceMutexName, 0, READ_CONTROL | SYNCHRONIZE));
}

// An instance that has died leaves its mutex abandoned.
bool Take(HANDLE mutex) {
  const DWORD outcome = WaitForSingleObject(mutex, 0);
  return outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED;
}

// Never destroyed: a late stop control may still request its end.
DnsRecovery& TheDnsRecovery() {
  static DnsRecovery& recovery =
      *new DnsRecovery(MachineProtection(), [] { return TunnelController::Instance().IsVpnRunning(); });
  return recovery;
}

}  // namespace

InstanceClaim::InstanceClaim() : mutex(OpenInstanceMutex()) {
  isOwned = mutex && Take(mutex.Get());
  if (!mutex) mutex = OpenForALook();
  const bool isAnothers = !isOwned && mutex && HasTrustedOwner(mutex.Get(), SE_KERNEL_OBJECT);
  isFirst = !isAnothers;
  if (isFirst && !isOwned) WriteLogLine("MoorlakTunnel: instance name held by another user, taken as free");
}

InstanceClaim::~InstanceClaim() {
  if (isOwned) ReleaseMutex(mutex.Get());
}

std::atomic<bool> stopFlag{false};

void SuppressSystemDialogs() noexcept {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  SetupSetNonInteractiveMode(TRUE);
}

std::thread StartPipeThread() {
  return std::thread([] { RunPipeServer(stopFlag); });
}

void BeginLife() noexcept {
  ForgetServiceEnd();
  stopFlag = false;
}

void StartDnsRecovery() noexcept {
  Guarded([] { TheDnsRecovery().Start(); });
}

void BeginStop() noexcept {
  BeginServiceEnd(kStopBudgetMs);
  stopFlag = true;
  Guarded([] { TheDnsRecovery().RequestEnd(); });
  TunnelController::Instance().BeginClosing();
  WakePipeServer();
}

void EndTunnel() noexcept {
  TunnelController& controller = TunnelController::Instance();
  controller.Stop();
  Guarded([] { TheDnsRecovery().End(); });
  controller.Shutdown();
}

}  // namespace moorlak
