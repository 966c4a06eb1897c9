// VPN mode: the whole system's traffic goes through the tunnel adapter. What outlives a session, and the start of one.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "tunnel/session.h"

namespace moorlak {

struct Protection;

// Start and StopVpn are called one at a time, under the controller's lock. What is not said to be another thread's
// belongs to them; the session's thread only reads it.
struct VpnService {
  // Set by the first Start; before that there is nothing to stop.
  bool startedOnce = false;

  // A restore in the background shares it.
  const std::shared_ptr<Protection> protection;
  // Looked up at construction and at each start.
  EnginePaths engines;
  VpnStatus status;

  // The `route DELETE` of the tunnel's default route has exceeded its time, and would again within the same stop.
  std::atomic<bool> routeCommandHung{false};
  // Null before the first start and after a stop. A stop keeps it if its staged file could not be removed: the next one
  // tries again.
  std::unique_ptr<Session> session;
  std::thread sessionThread;

  // Called on the session thread as its last step, with no lock held, however the session ended. Set once, before the
  // first start.
  std::function<void()> onEnded;

  explicit VpnService(std::shared_ptr<Protection> machineProtection);
  VpnService(const VpnService&) = delete;
  VpnService& operator=(const VpnService&) = delete;
  ~VpnService();

  // Ends an earlier session, then begins one, unless closing is set by then. Returns a message for the user on failure.
  // Empty means that the session thread has started; only running and the status show its outcome.
  std::string Start(const std::string& text, const std::atomic<bool>& closing);

  // Waits for a session that has ended, or is ending, by itself.
  void JoinSession() noexcept;
};

}  // namespace moorlak
