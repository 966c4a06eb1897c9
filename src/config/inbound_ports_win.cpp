#include <winsock2.h>
#include <windows.h>

#include "base/winsock.h"
#include "config/inbound_ports.h"

namespace moorlak {
namespace {

// A TCP socket bound to the port on 127.0.0.1, with no option set; empty on failure.
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
