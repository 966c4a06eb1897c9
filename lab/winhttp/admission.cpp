#include "winhttp/admission.h"

#include <array>

#include "base/threads.h"
#include "base/utf.h"
#include "machine/classify.h"
#include "machine/device_path.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kTcp = 6;
constexpr char kLoopbackAddress[] = "127.0.0.1";

// Shared by the caller and the thread that makes the call.
struct Pending {
  std::shared_ptr<HttpRequest> request;
  KernelHandle done{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  // Written before `done` is set, read after it.
  Admission admission;
  DWORD error = NO_ERROR;
};

Egress EgressOf(const MachineState& state, const HttpRequest& request) {
  if (request.socksPort != 0) return LoopbackEgress(state);
  return FindEgress(state, AddressOfHost(request.target.host));
}

std::string WayText(const HttpRequest& request, const Egress& egress) {
  if (request.socksPort != 0) return "via socks=127.0.0.1:" + std::to_string(request.socksPort);
  switch (egress.exit) {
    case Exit::None:
      return "without a route";
    case Exit::Direct:
      return "direct";
    default:
      return "via " + egress.adapter;
  }
}

std::string OwnDevicePath() {
  std::array<wchar_t, 1024> path{};
  GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size() - 1));
  return NarrowUtf16(DevicePath(path.data()));
}

Connection ConnectionOf(const HttpRequest& request, const Egress& egress) {
  if (request.socksPort != 0) return {OwnDevicePath(), kTcp, kLoopbackAddress, request.socksPort, egress.luid};
  return {OwnDevicePath(), kTcp, AddressOfHost(request.target.host), request.target.port, egress.luid};
}

DWORD Decide(const MachineState& state, const HttpRequest& request, Admission& admission) {
  if (request.IsClosed()) return ERROR_WINHTTP_OPERATION_CANCELLED;
  admission = {EgressOf(state, request), state.httpPort};
  if (admission.egress.exit == Exit::None) return ERROR_WINHTTP_CANNOT_CONNECT;
  const Verdict verdict = Classify(state.wfp, ConnectionOf(request, admission.egress));
  return verdict == Verdict::Permit ? NO_ERROR : ERROR_WINHTTP_CANNOT_CONNECT;
}

// The call log shows the way as it was before the call. If the machine changes while the call waits, the request may go
// another way.
void MakeCall(Pending& pending) noexcept {
  const HttpRequest& request = *pending.request;
  const std::string way = WayText(request, EgressOf(ReadMachine(), request));
  pending.error = RunCall({"WinHttpSendRequest", UrlOf(request.target) + " " + way}, [&](MachineState& state) {
    return static_cast<uint32_t>(Decide(state, request, pending.admission));
  });
  SetEvent(pending.done.Get());
}

}  // namespace

DWORD Admit(const std::shared_ptr<HttpRequest>& request, Admission& admission) {
  const auto pending = std::make_shared<Pending>();
  pending->request = request;
  StartDetachedThread([pending] { MakeCall(*pending); });
  const std::array<HANDLE, 2> handles{request->closed.Get(), pending->done.Get()};
  const DWORD ended = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, INFINITE);
  if (ended == WAIT_OBJECT_0) return ERROR_WINHTTP_OPERATION_CANCELLED;
  if (ended != WAIT_OBJECT_0 + 1) return ERROR_WINHTTP_INTERNAL_ERROR;
  admission = pending->admission;
  return pending->error;
}

}  // namespace moorlak::lab
