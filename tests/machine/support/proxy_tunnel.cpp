#include "machine/support/proxy_tunnel.h"

#include <winsock2.h>

#include <gtest/gtest.h>

#include "base/handle.h"
#include "machine/support/pipe_client.h"
#include "machine/support/wait.h"

namespace moorlak::machine {
namespace {

// Winsock for a scope.
struct Winsock {
  WSADATA data{};
  Winsock() { EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0); }
  Winsock(const Winsock&) = delete;
  Winsock& operator=(const Winsock&) = delete;
  ~Winsock() { WSACleanup(); }
};

struct SocketTraits {
  using Type = SOCKET;
  static Type Empty() noexcept { return INVALID_SOCKET; }
  static bool IsValid(Type socket) noexcept { return socket != INVALID_SOCKET; }
  static void Close(Type socket) noexcept { closesocket(socket); }
};
using Socket = UniqueHandle<SocketTraits>;

sockaddr_in LoopbackAddress(uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

}  // namespace

uint16_t FreeLoopbackPort() {
  const Winsock winsock;
  const Socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  sockaddr_in address = LoopbackAddress(0);
  int length = sizeof(address);
  EXPECT_EQ(bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
  EXPECT_EQ(getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
  return ntohs(address.sin_port);
}

bool IsListening(uint16_t port) {
  const Winsock winsock;
  const Socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  const sockaddr_in address = LoopbackAddress(port);
  return connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

std::string SocksConfig(uint16_t port) {
  return R"({"inbounds":[{"tag":"socks","listen":"127.0.0.1","port":)" + std::to_string(port) +
         R"(,"protocol":"socks"}],"outbounds":[{"tag":"proxy","protocol":"freedom"}]})";
}

bool WaitForTunnel(uint16_t port) {
  return WaitUntil([port] { return AskStatus().tunnelUp && IsListening(port); });
}

}  // namespace moorlak::machine
