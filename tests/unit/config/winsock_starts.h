// How often Winsock is started in this process. Libraries that the system loads may have started it, too.
#pragma once

#include <winsock2.h>
#include <windows.h>

namespace moorlak {

// Counts by ending every start, and starts Winsock as often again. Only while no other thread uses it.
inline int WinsockStarts() {
  int starts = 0;
  while (WSACleanup() == 0) ++starts;
  WSADATA data{};
  for (int i = 0; i < starts; ++i) WSAStartup(MAKEWORD(2, 2), &data);
  return starts;
}

}  // namespace moorlak
