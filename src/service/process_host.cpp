#include "service/process_host.h"

#include <windows.h>

#include <setupapi.h>

#include "ipc/pipe_server.h"
#include "process/service_end.h"
#include "process/stop_budget.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {

std::atomic<bool> stopFlag{false};

void AskNobody() noexcept {
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

void BeginStop() noexcept {
  BeginServiceEnd(kStopBudgetMs);
  stopFlag = true;
  TunnelController::Instance().BeginClosing();
  WakePipeServer();
}

void EndTunnel() noexcept {
  TunnelController& controller = TunnelController::Instance();
  controller.Stop();
  controller.Shutdown();
}

}  // namespace moorlak
