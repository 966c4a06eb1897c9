// Readiness and health: does the engine listen, does a web page come through. Adapter presence: process/adapter_wait.h.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "process/session_watch.h"

namespace moorlak {

// True when a TCP connection to the loopback port succeeds within the time-out while the session goes on. Tries every
// 100 ms, each try for at most 200 ms. Logs the success, Xray's exit and the time-out; a session that is to end leaves
// no line.
bool WaitForSocksListen(const SessionWatch& session, uint16_t port, uint32_t timeoutMs) noexcept;

struct ProbeRequest;

// The place of the one HTTP request that a session has in flight, so that another thread can cancel it.
struct ProbeSlot {
  std::mutex lock;
  // Null when none is in flight. Guarded by the lock, within which every call with the request's handle is made: none
  // may come behind its close. Whoever takes the request out closes it.
  std::shared_ptr<ProbeRequest> request;
};

// Closes the request in flight, which ends its probe with -1 at once. The session's running flag is cleared before this
// is called: a probe that is about to send then finds it clear.
void CancelProbe(ProbeSlot& slot) noexcept;

// Milliseconds from the connect to any HTTP response, whatever its status, or -1: no response, a URL that SplitProbeUrl
// does not take, a clear running flag, a cancelled request. Resolving, connecting, sending and receiving have 5 seconds
// each. The first goes through the SOCKS proxy on the loopback port (0 gives -1), the second without any proxy along
// the system's routes.
int64_t ProbeViaSocks(const std::atomic<bool>& running, ProbeSlot& slot, uint16_t socksPort,
                      const std::string& url) noexcept;
int64_t ProbeTunPath(const std::atomic<bool>& running, ProbeSlot& slot, const std::string& url) noexcept;

}  // namespace moorlak
