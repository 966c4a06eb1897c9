// Readiness and health of a session: whether the engine listens, where the data path is probed, and whether a web page
// gets through.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/mutex.h"
#include "process/cancellable_wait.h"

namespace moorlak {

// Two services of different operators on the public internet. Each replies to a GET with 204 and no content.
inline constexpr std::string_view kConnectivityEndpoints[] = {
    "https://www.gstatic.com/generate_204",
    "https://cp.cloudflare.com/generate_204",
};

struct ProbeUrl {
  bool secure = false;
  std::string host;
  uint16_t port = 0;
  // Begins with "/".
  std::string path;
};

// nullopt for a scheme other than "http://" and "https://" (in small letters), for an empty host, and for a port that
// is not a decimal number from 1 to 65535. IPv6 literals are not supported.
std::optional<ProbeUrl> SplitProbeUrl(std::string_view url);

// Probes the URL; returns milliseconds, or -1 on failure.
using Probe = std::function<int64_t(const std::string& url)>;
// Called with each probe's result.
using ProbeReport = std::function<void(const std::string& url, int64_t elapsedMs)>;

// Probes the endpoints in order until one replies; true if one did. Checks the flag before each of them, so that no
// probe starts once it is clear.
bool ProbeEndpoints(const std::atomic<bool>& running, const Probe& probe, const ProbeReport& report);

// True if a TCP connection to the loopback port succeeds within the time-out while the session runs. Tries every 100
// ms, each try for at most 200 ms. Logs the success, Xray's exit and the time-out; logs nothing if the session is
// ending.
bool WaitForSocksListen(const SessionWatch& session, uint16_t port, uint32_t timeoutMs) noexcept;

struct ProbeRequest;

// Holds the only HTTP request that a session has in flight, so that another thread can cancel it.
struct ProbeSlot {
  Mutex lock;
  // Null if none is in flight. The lock is held during every call with the request's handle, so that
  // none follows its close. Whoever takes the request out closes it.
  std::shared_ptr<ProbeRequest> request GUARDED_BY(lock);
};

// Closes the request in flight, which ends its probe with -1 at once. Clear the session's running flag before calling
// this: a probe that has not sent yet checks it under the same lock.
void CancelProbe(ProbeSlot& slot) noexcept;

// Milliseconds from the connect to any HTTP response, whatever its status; -1 if there is no response, SplitProbeUrl
// rejects the URL, the running flag is clear or the request was cancelled. Resolving, connecting, sending and receiving
// have 5 seconds each. ProbeViaSocks uses the SOCKS proxy on the loopback port (0 gives -1), ProbeTunPath no proxy and
// the system's routes.
int64_t ProbeViaSocks(const std::atomic<bool>& running, ProbeSlot& slot, uint16_t socksPort,
                      const std::string& url) noexcept;
int64_t ProbeTunPath(const std::atomic<bool>& running, ProbeSlot& slot, const std::string& url) noexcept;

}  // namespace moorlak
