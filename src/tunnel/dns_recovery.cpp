#include "tunnel/dns_recovery.h"

#include <winsock2.h>
#include <windows.h>

#include <array>
#include <chrono>
#include <exception>
#include <iphlpapi.h>
#include <optional>
#include <utility>
#include <vector>

#include "base/guarded.h"
#include "base/standard_error.h"
#include "base/threads.h"
#include "net/adapter/adapter_changes.h"
#include "net/adapter/adapter_lookup.h"
#include "tunnel/protection.h"

namespace moorlak {
namespace {

using Clock = std::chrono::steady_clock;
using AdapterList = std::optional<std::vector<AdapterInfo>>;

// The thread's state between two checks.
struct Watch {
  // Registered while something is pending.
  std::optional<AdapterChanges> changes;
  // The adapters as the last try found them, or as they were when something became pending. Without their name servers,
  // which a try changes itself; any other change during a try causes the next one.
  AdapterList adapters;
  Clock::time_point lastTry;
};

AdapterList ReadNow() {
  return ReadAdapters(AF_UNSPEC, GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER);
}

void RecordTry(Watch& watch, AdapterList found) {
  watch.adapters = std::move(found);
  watch.lastTry = Clock::now();
}

DnsRetryFacts FactsOf(const Watch& watch, const Protection& protection, bool sessionRuns, uint32_t periodMs) {
  const auto since = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - watch.lastTry);
  DnsRetryFacts facts;
  facts.pending = protection.pending;
  facts.sessionRuns = sessionRuns;
  facts.sinceLastTryMs = static_cast<uint64_t>(since.count());
  facts.periodMs = periodMs;
  return facts;
}

// Reads the adapters before registering, so that the check that follows sees changes in between.
void BeginWatching(Watch& watch, HANDLE changed) {
  if (watch.changes) return;
  RecordTry(watch, ReadNow());
  watch.changes.emplace(changed);
}

// Tries if it is due; returns how long to sleep if nothing happens.
DWORD Look(Watch& watch, Protection& protection, DnsRetryFacts facts, const std::atomic<bool>& wanted) {
  if (facts.pending && !facts.sessionRuns) {
    const uint64_t generation = protection.generation;
    AdapterList found = ReadNow();
    facts.adaptersChanged = found != watch.adapters;
    if (IsDnsRetryDue(facts)) {
      protection.RetryDns(generation, wanted);
      RecordTry(watch, std::move(found));
      facts = FactsOf(watch, protection, false, facts.periodMs);
    }
  }
  return DnsRetryWaitMs(facts).value_or(INFINITE);
}

}  // namespace

DnsRecovery::DnsRecovery(std::shared_ptr<Protection> machineProtection, std::function<bool()> isSessionRunning,
                         uint32_t period)
    : protection(std::move(machineProtection)),
      sessionRuns(std::move(isSessionRunning)),
      periodMs(period),
      ended(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      changed(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

DnsRecovery::~DnsRecovery() {
  End();
}

void DnsRecovery::Start() noexcept {
  if (!ended || !changed || !protection->pendingEvent) return;
  Guarded([this] { thread = std::thread([this] { RunThreadBody("DNS recovery", [this] { Run(); }); }); });
}

void DnsRecovery::RequestEnd() noexcept {
  wanted = false;
  if (ended) SetEvent(ended.Get());
}

void DnsRecovery::End() noexcept {
  RequestEnd();
  if (thread.joinable()) thread.join();
}

void DnsRecovery::Run() {
  const std::array<HANDLE, 3> events{ended.Get(), protection->pendingEvent.Get(), changed.Get()};
  Watch watch;
  while (wanted) {
    // If a check throws, for example without memory, the next one follows after a period.
    const DWORD sleepMs = Guarded(periodMs, [&]() -> DWORD {
      if (!protection->pending) {
        watch.changes.reset();
        return INFINITE;
      }
      BeginWatching(watch, changed.Get());
      return Look(watch, *protection, FactsOf(watch, *protection, sessionRuns(), periodMs), wanted);
    });
    WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, sleepMs);
  }
}

}  // namespace moorlak
