#include "config/loopback_ports.h"

#include <winsock2.h>
#include <windows.h>

#include "base/handle.h"

namespace moorlak {
namespace {

struct WinsockSession {
  bool started;

  WinsockSession() noexcept {
    WSADATA data{};
    started = WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }
  WinsockSession(const WinsockSession&) = delete;
  WinsockSession& operator=(const WinsockSession&) = delete;
  ~WinsockSession() {
    if (started) WSACleanup();
  }
};

struct SocketTraits {
  using Type = SOCKET;
  static Type Empty() noexcept { return INVALID_SOCKET; }
  static bool IsValid(Type socket) noexcept { return socket != INVALID_SOCKET; }
  static void Close(Type socket) noexcept { closesocket(socket); }
};
using UniqueSocket = UniqueHandle<SocketTraits>;

// A TCP socket bound to 127.0.0.1 and the port, no option set; empty when that fails.
UniqueSocket BindLoopback(uint16_t port) noexcept {
  UniqueSocket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (socket && bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) socket.Reset();
  return socket;
}

}  // namespace

bool IsLoopbackPortFree(uint16_t port) noexcept {
  const WinsockSession winsock;
  return winsock.started && BindLoopback(port);
}

uint16_t PickFreeLoopbackPort() noexcept {
  const WinsockSession winsock;
  if (!winsock.started) return 0;
  const UniqueSocket socket = BindLoopback(0);
  sockaddr_in address{};
  int size = sizeof(address);
  if (!socket || getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.sin_port);
}

}  // namespace moorlak
