// How often Winsock has been started in this process. Libraries loaded by the system may have started it, too.
#pragma once

#include <winsock2.h>
#include <windows.h>

namespace moorlak {

// Counts by ending every start, then starts Winsock as often again. Call it only while no other thread uses Winsock.
inline int WinsockStarts() {
  int starts = 0;
  while (WSACleanup() == 0) ++starts;
  WSADATA data{};
  for (int i = 0; i < starts; ++i) WSAStartup(MAKEWORD(2, 2), &data);
  return starts;
}

}  // namespace moorlak
