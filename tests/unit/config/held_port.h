// A loopback port with a listener.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <cstdint>

namespace moorlak {

struct HeldPort {
  // 0 takes any port. `port` is 0 if the port could not be taken.
  explicit HeldPort(uint16_t wanted = 0) {
    WSADATA data{};
    WSAStartup(MAKEWORD(2, 2), &data);
    listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(wanted);
    int size = sizeof(address);
    auto* name = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, name, size) == 0 && listen(listener, 1) == 0 && getsockname(listener, name, &size) == 0) {
      port = ntohs(address.sin_port);
    }
  }
  HeldPort(const HeldPort&) = delete;
  HeldPort& operator=(const HeldPort&) = delete;
  ~HeldPort() {
    closesocket(listener);
    WSACleanup();
  }

  SOCKET listener = INVALID_SOCKET;
  uint16_t port = 0;
};

// Connects, sends nothing and closes at once, so that a server's thread that waits for a connection continues.
inline void KnockAt(uint16_t port) {
  const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  closesocket(socket);
}

}  // namespace moorlak
