// While the service runs, retries what a restore of the adapters' DNS has left undone: after a power cut the commands
// may be too slow, or an adapter may appear minutes later.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#include "base/handle.h"
#include "net/dns/dns_retry.h"

namespace moorlak {

struct Protection;

// One thread, which sleeps while nothing is pending and does nothing while a session runs. One thread calls Start and
// End; any thread may request the end, also before the start.
class DnsRecovery {
 public:
  // isSessionRunning is called on the thread and must not block. The period is in milliseconds.
  DnsRecovery(std::shared_ptr<Protection> machineProtection, std::function<bool()> isSessionRunning,
              uint32_t period = kDnsRetryPeriodMs);
  ~DnsRecovery();
  DnsRecovery(const DnsRecovery&) = delete;
  DnsRecovery& operator=(const DnsRecovery&) = delete;

  // If no thread can be created, what is pending waits for the next session or service start.
  void Start() noexcept;
  // Does not wait; no command is started from now on.
  void RequestEnd() noexcept;
  // Waits for the thread: at most for one command, which is limited to 1.5 s.
  void End() noexcept;

 private:
  void Run();

  const std::shared_ptr<Protection> protection;
  const std::function<bool()> sessionRuns;
  const uint32_t periodMs;
  std::atomic<bool> wanted{true};
  KernelHandle ended;
  // Set by the system's notifications; auto-reset.
  KernelHandle changed;
  std::thread thread;
};

}  // namespace moorlak
