#include "winhttp/wire.h"

#include <algorithm>
#include <array>
#include <winhttp.h>

namespace moorlak::lab {
namespace {

// Waits until the socket may have changed.
DWORD AwaitReady(const Wire& wire, const Deadline& deadline) {
  const std::array<HANDLE, 2> handles{wire.cancelled, wire.ready.Get()};
  switch (WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, deadline.RemainingMs())) {
    case WAIT_OBJECT_0:
      return ERROR_WINHTTP_OPERATION_CANCELLED;
    case WAIT_OBJECT_0 + 1:
      return NO_ERROR;
    case WAIT_TIMEOUT:
      return ERROR_WINHTTP_TIMEOUT;
    default:
      return ERROR_WINHTTP_INTERNAL_ERROR;
  }
}

// After a failed socket call: 0 if it would have blocked and should be tried again. Any other failure ends the
// connection.
DWORD AfterFailure(const Wire& wire, const Deadline& deadline) {
  return WSAGetLastError() == WSAEWOULDBLOCK ? AwaitReady(wire, deadline) : ERROR_WINHTTP_CONNECTION_ERROR;
}

DWORD AwaitConnected(const Wire& wire, const Deadline& deadline) {
  for (;;) {
    const DWORD error = AwaitReady(wire, deadline);
    if (error != NO_ERROR) return error;
    WSANETWORKEVENTS events{};
    if (WSAEnumNetworkEvents(wire.socket.Get(), nullptr, &events) != 0) return ERROR_WINHTTP_INTERNAL_ERROR;
    if ((events.lNetworkEvents & FD_CONNECT) == 0) continue;
    return events.iErrorCode[FD_CONNECT_BIT] == 0 ? NO_ERROR : ERROR_WINHTTP_CANNOT_CONNECT;
  }
}

}  // namespace

Deadline::Deadline(int timeoutMs)
    : isSet(timeoutMs > 0), end(isSet ? GetTickCount64() + static_cast<ULONGLONG>(timeoutMs) : 0) {}

DWORD Deadline::RemainingMs() const {
  if (!isSet) return INFINITE;
  const ULONGLONG now = GetTickCount64();
  return now < end ? static_cast<DWORD>(end - now) : 0;
}

DWORD ConnectWire(Wire& wire, uint16_t port, const Deadline& deadline) {
  constexpr long kEvents = FD_CONNECT | FD_READ | FD_WRITE | FD_CLOSE;
  wire.socket.Reset(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  wire.ready.Reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  // WSAEventSelect also makes the socket non-blocking.
  if (!wire.socket || !wire.ready || WSAEventSelect(wire.socket.Get(), wire.ready.Get(), kEvents) != 0) {
    return ERROR_WINHTTP_INTERNAL_ERROR;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (connect(wire.socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return NO_ERROR;
  return WSAGetLastError() == WSAEWOULDBLOCK ? AwaitConnected(wire, deadline) : ERROR_WINHTTP_CANNOT_CONNECT;
}

DWORD SendAll(Wire& wire, std::string_view bytes, const Deadline& deadline) {
  while (!bytes.empty()) {
    const int sent = send(wire.socket.Get(), bytes.data(), static_cast<int>(bytes.size()), 0);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
      continue;
    }
    const DWORD error = AfterFailure(wire, deadline);
    if (error != NO_ERROR) return error;
  }
  return NO_ERROR;
}

DWORD ReceiveSome(Wire& wire, std::string& received, size_t limit, const Deadline& deadline) {
  std::array<char, 4096> chunk{};
  const int wanted = static_cast<int>(std::min(limit, chunk.size()));
  for (;;) {
    const int got = recv(wire.socket.Get(), chunk.data(), wanted, 0);
    if (got > 0) {
      received.append(chunk.data(), static_cast<size_t>(got));
      return NO_ERROR;
    }
    if (got == 0) return ERROR_WINHTTP_CONNECTION_ERROR;
    const DWORD error = AfterFailure(wire, deadline);
    if (error != NO_ERROR) return error;
  }
}

DWORD WaitInVain(HANDLE cancelled, const Deadline& deadline) {
  const bool ended = WaitForSingleObject(cancelled, deadline.RemainingMs()) == WAIT_OBJECT_0;
  return ended ? ERROR_WINHTTP_OPERATION_CANCELLED : ERROR_WINHTTP_TIMEOUT;
}

}  // namespace moorlak::lab
