#include "service/process_host.h"

#include <windows.h>

#include <setupapi.h>

#include "base/guarded.h"
#include "ipc/pipe_server.h"
#include "process/service_end.h"
#include "tunnel/dns_recovery.h"
#include "tunnel/protection.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {

namespace {

// Never destroyed: a late stop control may still request its end.
DnsRecovery& TheDnsRecovery() {
  static DnsRecovery& recovery =
      *new DnsRecovery(MachineProtection(), [] { return TunnelController::Instance().IsVpnRunning(); });
  return recovery;
}

}  // namespace

std::atomic<bool> stopFlag{false};

void TrustEveryCaller() noexcept {
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
