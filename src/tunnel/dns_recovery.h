// Tries again, while the service runs, what a restore of the adapters' DNS has left undone: after a power cut the
// commands may be too slow, an adapter may come minutes later.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

#include "base/handle.h"
#include "net/dns/dns_retry.h"

namespace moorlak {

// One thread, which sleeps while nothing is pending and does nothing while a session runs. Start and End are called by
// one thread; the end may be requested by any, before the start as well.
class DnsRecovery {
 public:
  // The question is asked on the thread and must not wait. The period is in milliseconds.
  explicit DnsRecovery(std::function<bool()> isSessionRunning, uint32_t period = kDnsRetryPeriodMs);
  ~DnsRecovery();
  DnsRecovery(const DnsRecovery&) = delete;
  DnsRecovery& operator=(const DnsRecovery&) = delete;

  // Without a thread to be had, what is pending waits for the next session or start.
  void Start() noexcept;
  // From now on no command is begun. Does not wait.
  void RequestEnd() noexcept;
  // Waits for the thread: for one command at most, which has 1.5 s.
  void End() noexcept;

 private:
  void Run();

  const std::function<bool()> sessionRuns;
  const uint32_t periodMs;
  std::atomic<bool> wanted{true};
  KernelHandle ended;
  // Set by the system's notifications; auto-reset.
  KernelHandle changed;
  std::thread thread;
};

}  // namespace moorlak
