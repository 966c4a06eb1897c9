#include "winhttp/exchange.h"

#include <winhttp.h>

#include "winhttp/admission.h"

namespace moorlak::lab {
namespace {

constexpr size_t kLongestHead = 65536;

DWORD ReceiveExactly(Wire& wire, std::string& received, size_t size, const Deadline& deadline) {
  DWORD error = NO_ERROR;
  while (error == NO_ERROR && received.size() < size) {
    error = ReceiveSome(wire, received, size - received.size(), deadline);
  }
  return error;
}

DWORD GreetProxy(Wire& wire, const Deadline& deadline) {
  DWORD error = SendAll(wire, kSocksGreeting, deadline);
  std::string welcome;
  if (error == NO_ERROR) error = ReceiveExactly(wire, welcome, kSocksWelcome.size(), deadline);
  if (error != NO_ERROR) return error;
  return welcome == kSocksWelcome ? NO_ERROR : ERROR_WINHTTP_CANNOT_CONNECT;
}

DWORD AwaitGrant(Wire& wire, const Deadline& deadline) {
  std::string reply;
  for (;;) {
    const size_t size = SocksReplySize(reply);
    if (size == 0) return ERROR_WINHTTP_CANNOT_CONNECT;
    if (reply.size() >= size) return IsSocksGranted(reply) ? NO_ERROR : ERROR_WINHTTP_CANNOT_CONNECT;
    const DWORD error = ReceiveExactly(wire, reply, size, deadline);
    if (error != NO_ERROR) return error;
  }
}

DWORD ConnectThroughProxy(Wire& wire, uint16_t proxyPort, const HttpTarget& target, const Deadline& deadline) {
  DWORD error = ConnectWire(wire, proxyPort, deadline);
  if (error == NO_ERROR) error = GreetProxy(wire, deadline);
  if (error == NO_ERROR) error = SendAll(wire, SocksConnect(target.host, target.port), deadline);
  return error == NO_ERROR ? AwaitGrant(wire, deadline) : error;
}

DWORD ConnectDirectly(Wire& wire, uint16_t port, const Deadline& deadline) {
  return port != 0 ? ConnectWire(wire, port, deadline) : ERROR_WINHTTP_CANNOT_CONNECT;
}

DWORD Connect(HttpRequest& request, const Admission& admission) {
  const Deadline deadline(TimeoutsOf(request).connect);
  request.wire = {};
  request.wire.cancelled = request.closed.Get();
  if (request.socksPort != 0) {
    return ConnectThroughProxy(request.wire, request.socksPort, request.target, deadline);
  }
  switch (admission.egress.exit) {
    case Exit::Tunnel:
      return ConnectThroughProxy(request.wire, admission.egress.proxyPort, request.target, deadline);
    case Exit::Loopback:
      return ConnectDirectly(request.wire, request.target.port, deadline);
    case Exit::Direct:
      return ConnectDirectly(request.wire, admission.webPort, deadline);
    default:
      return WaitInVain(request.wire.cancelled, deadline);
  }
}

}  // namespace

DWORD SendRequest(const std::shared_ptr<HttpRequest>& request) {
  Admission admission;
  DWORD error = Admit(request, admission);
  if (error == NO_ERROR) error = Connect(*request, admission);
  if (error != NO_ERROR) return error;
  const Deadline deadline(TimeoutsOf(*request).send);
  return SendAll(request->wire, RequestText(request->target, request->agent), deadline);
}

DWORD ReceiveResponse(HttpRequest& request) {
  const Deadline deadline(TimeoutsOf(request).receive);
  std::string head;
  while (head.find("\r\n\r\n") == std::string::npos) {
    if (head.size() > kLongestHead) return ERROR_WINHTTP_HEADER_SIZE_OVERFLOW;
    const DWORD error = ReceiveSome(request.wire, head, kLongestHead, deadline);
    if (error != NO_ERROR) return error;
  }
  return StatusOf(head) ? NO_ERROR : ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
}

}  // namespace moorlak::lab
