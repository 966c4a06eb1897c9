#include "session/support/service_life.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "base/handle.h"
#include "machine/support/pipe_client.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr wchar_t kServiceImage[] = L"moorlak_service.exe";
constexpr std::chrono::milliseconds kShortTry{200};

// The pipe of a running service. Empty if the service dies instead.
KernelHandle ConnectWhileAlive() {
  while (IsServiceAlive()) {
    KernelHandle pipe = machine::ConnectPipe(kShortTry);
    if (pipe) return pipe;
  }
  return {};
}

}  // namespace

bool IsServiceAlive() {
  return !ProcessesNamed(kServiceImage).empty();
}

bool StartsAndLives() {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  const ServiceHandle service(OpenServiceW(manager.Get(), kServiceName, SERVICE_ALL_ACCESS));
  // A service that dies early makes its start fail.
  StartServiceW(service.Get(), 0, nullptr);
  return AskService(CommandCode::Ping) == "OK";
}

std::optional<std::string> AskService(CommandCode code, const std::string& payload) {
  const KernelHandle pipe = ConnectWhileAlive();
  if (!pipe || !machine::SendBytes(pipe.Get(), EncodeRequest(code, payload))) return std::nullopt;
  return machine::ReadReply(pipe.Get());
}

}  // namespace moorlak::session
