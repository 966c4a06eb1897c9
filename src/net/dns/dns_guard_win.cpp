#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <optional>

#include "base/guarded.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/utf.h"
#include "net/dns/dns_guard.h"
#include "net/wfp/wfp_session.h"

namespace moorlak {
namespace {

constexpr WfpIdentity kIdentity{{0x6D6F6F72, 0x444E, 0x5301, {0x47, 0x55, 0x41, 0x52, 0x44, 0x4D, 0x4C, 0x31}},
                                L"Moorlak",
                                {0x6D6F6F72, 0x444E, 0x5300, {0x47, 0x55, 0x41, 0x52, 0x44, 0x4D, 0x4C, 0x31}},
                                L"Moorlak DNS Guard",
                                32768,
                                false};

Mutex guardLock;
WfpSession guard GUARDED_BY(guardLock){kIdentity, {}, false, {}};

void LogCode(const char* what, DWORD code) {
  WriteLogLine("dns-guard: " + std::string(what) + " failed " + std::to_string(code));
}

// Host order.
std::optional<uint32_t> ParseAddress(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return ntohl(address.s_addr);
}

void RemoveLocked() REQUIRES(guardLock) {
  if (!guard.engine && !guard.installed) {
    guard.filterIds.clear();
    return;
  }
  if (const DWORD code = OpenWfpEngine(guard)) {
    LogCode("FwpmEngineOpen", code);
    guard.filterIds.clear();
    return;
  }
  DeleteWfpObjects(guard);
  WriteLogLine("dns-guard: removed");
}

// False if a filter cannot be added, or if the limit leaves one out.
bool AddFiltersTx(const DnsGuardPlan& plan, FWP_BYTE_BLOB* xray) REQUIRES(guardLock) {
  for (const FilterRow& filter : plan.filters) {
    if (const DWORD code = AddWfpFilterTx(guard, filter, xray)) {
      WriteLogLine(DnsGuardAddFailure(filter, code));
      return false;
    }
  }
  return plan.complete;
}

// A permit without a condition on the application would open port 53 to every program.
ApplicationId ReadXrayIdTx(const std::string& xrayPath) {
  ApplicationId xray;
  if (const DWORD code = ReadApplicationId(WidenUtf8(xrayPath), xray)) LogCode("FwpmGetAppIdFromFileName", code);
  if (!xray) WriteLogLine("dns-guard: missing xray AppID — refusing permit-any DNS hosts");
  return xray;
}

struct InstallRequest {
  uint64_t luid;
  const std::string& xrayPath;
  const std::vector<std::string>& permitHosts;
  // The install stopped while adding filters.
  bool stopped = false;
};

bool FillTx(InstallRequest& request) REQUIRES(guardLock) {
  if (const DWORD code = AddWfpSublayerTx(guard)) {
    LogCode("SubLayerAdd", code);
    return false;
  }
  const ApplicationId xray = ReadXrayIdTx(request.xrayPath);
  if (!xray) return false;
  const std::vector<uint32_t> permits = ReadPermitHosts(request.permitHosts, ParseAddress);
  if (permits.empty()) {
    WriteLogLine("dns-guard: no valid DNS permit hosts");
    return false;
  }
  request.stopped = !AddFiltersTx(PlanDnsGuard(request.luid, permits), xray.Get());
  return !request.stopped;
}

bool InstallLocked(InstallRequest request) REQUIRES(guardLock) {
  RemoveLocked();
  if (request.luid == 0) {
    WriteLogLine("dns-guard: missing Moorlak LUID");
    return false;
  }
  const WfpResult result = RunWfpTransaction(guard, [&]() REQUIRES(guardLock) { return FillTx(request); });
  if (result.outcome == WfpOutcome::OpenFailed) LogCode("FwpmEngineOpen", result.code);
  if (result.outcome == WfpOutcome::BeginFailed) LogCode("TransactionBegin", result.code);
  if (result.outcome == WfpOutcome::CommitFailed) LogCode("commit", result.code);
  if (request.stopped) WriteLogLine("dns-guard: install aborted");
  if (result.outcome != WfpOutcome::Committed) return false;
  guard.installed = true;
  WriteLogLine("dns-guard: blocking DNS + IPv6 outbound on non-Moorlak interfaces (" +
               std::to_string(guard.filterIds.size()) + " filters)");
  return true;
}

}  // namespace

bool InstallDnsGuard(uint64_t luid, const std::string& xrayPath, const std::vector<std::string>& permitHosts) noexcept {
  return Guarded(false, [&] {
    const MutexGuard lock(guardLock);
    return InstallLocked({luid, xrayPath, permitHosts});
  });
}

void RemoveDnsGuard() noexcept {
  Guarded([] {
    const MutexGuard lock(guardLock);
    RemoveLocked();
  });
}

void PurgeStaleDnsGuard() noexcept {
  const MutexGuard lock(guardLock);
  if (PurgeWfpObjects(kIdentity)) WriteLogLine("dns-guard: purged stale filters/provider/sublayer (if present)");
}

}  // namespace moorlak
