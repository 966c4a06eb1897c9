// A TCP connection to loopback. Every wait has a time-out and ends at once if cancelled. Results are WinHTTP's error
// codes ("Error Messages" of WinHTTP on Microsoft Learn), 0 for success.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/handle.h"
#include "base/winsock.h"

namespace moorlak::lab {

// The deadline of one step of a request.
struct Deadline {
  // 0 and -1 mean no limit, as for WinHttpSetTimeouts.
  explicit Deadline(int timeoutMs);
  DWORD RemainingMs() const;

  bool isSet;
  ULONGLONG end;
};

// Used by one thread at a time; another may set `cancelled`.
struct Wire {
  UniqueSocket socket;
  KernelHandle ready;
  // Not owned; set to cancel, never reset.
  HANDLE cancelled = nullptr;
};

// Opens a new connection and drops the old one.
DWORD ConnectWire(Wire& wire, uint16_t port, const Deadline& deadline);
DWORD SendAll(Wire& wire, std::string_view bytes, const Deadline& deadline);
// Appends what has arrived: at least one byte and at most `limit`.
DWORD ReceiveSome(Wire& wire, std::string& received, size_t limit, const Deadline& deadline);

// For a connection to which nothing replies: waits for the time-out or the cancellation.
DWORD WaitInVain(HANDLE cancelled, const Deadline& deadline);

}  // namespace moorlak::lab
