// Winsock as two owned things: its start, paired with its clean-up, and a socket.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include "base/handle.h"

namespace moorlak {

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

using UniqueSocket = UniqueHandle<SOCKET, closesocket>;

}  // namespace moorlak
