// A TCP connection to loopback whose every wait ends with a time-out, or at once when it is cancelled. Results are
// WinHTTP's error codes ("Error Messages" of WinHTTP on Microsoft Learn), 0 for success.
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

// The end of a step of a request.
struct Deadline {
  // 0 and -1 are for ever, as for WinHttpSetTimeouts.
  explicit Deadline(int timeoutMs);
  DWORD RemainingMs() const;

  bool isSet;
  ULONGLONG end;
};

// One thread works on it; another may set the event.
struct Wire {
  UniqueSocket socket;
  KernelHandle ready;
  // Not owned: set by who cancels, never reset.
  HANDLE cancelled = nullptr;
};

// A new connection in place of what the wire had.
DWORD ConnectWire(Wire& wire, uint16_t port, const Deadline& deadline);
DWORD SendAll(Wire& wire, std::string_view bytes, const Deadline& deadline);
// Appends what is there, at least one byte and at most `limit`.
DWORD ReceiveSome(Wire& wire, std::string& received, size_t limit, const Deadline& deadline);

// For a connection that nobody answers: the time-out, unless it is cancelled before.
DWORD WaitInVain(HANDLE cancelled, const Deadline& deadline);

}  // namespace moorlak::lab
