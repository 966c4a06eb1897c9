#include <windows.h>

#include <optional>

#include "base/guarded.h"
#include "base/log.h"
#include "base/utf.h"
#include "net/dns/dns_guard.h"
#include "net/wfp/filter_set.h"
#include "net/wfp/own_keys.h"

namespace moorlak {

constexpr FilterSetKind kDnsGuardFilters{
    {kGuardProviderKey, L"Moorlak", kGuardSublayerKey, L"Moorlak DNS Guard", 32768, false},
    "dns-guard",
    "filters/provider/sublayer"};

namespace {

// False if a filter cannot be added, or if the limit leaves one out.
bool AddPlanTx(WfpSession& session, const DnsGuardPlan& plan, FWP_BYTE_BLOB* xray) {
  for (const FilterRow& filter : plan.filters) {
    if (const DWORD code = AddWfpFilterTx(session, filter, xray)) {
      WriteLogLine(DnsGuardAddFailure(filter, code));
      return false;
    }
  }
  return plan.complete;
}

// A permit without a condition on the application would open port 53 to every program.
ApplicationId ReadXrayIdTx(const std::string& xrayPath) {
  ApplicationId xray;
  if (const DWORD code = ReadApplicationId(WidenUtf8(xrayPath), xray)) {
    WriteLogLine("dns-guard: FwpmGetAppIdFromFileName failed " + std::to_string(code));
  }
  if (!xray) WriteLogLine("dns-guard: missing xray AppID — refusing permit-any DNS hosts");
  return xray;
}

struct InstallRequest {
  uint64_t luid;
  const std::string& xrayPath;
  const std::vector<std::string>& permitHosts;
};

std::optional<std::string> AddFiltersTx(WfpSession& session, const InstallRequest& request) {
  const ApplicationId xray = ReadXrayIdTx(request.xrayPath);
  if (!xray) return std::nullopt;
  const std::vector<Ipv4Address> permits = ReadPermitHosts(request.permitHosts);
  if (permits.empty()) {
    WriteLogLine("dns-guard: no valid DNS permit hosts");
    return std::nullopt;
  }
  if (!AddPlanTx(session, PlanDnsGuard(request.luid, permits), xray.Get())) {
    WriteLogLine("dns-guard: install aborted");
    return std::nullopt;
  }
  return "dns-guard: blocking DNS + IPv6 outbound on non-Moorlak interfaces (" +
         std::to_string(session.filterIds.size()) + " filters)";
}

bool Install(FilterSet& guard, const InstallRequest& request) {
  if (request.luid == 0) {
    RemoveFilters(guard);
    WriteLogLine("dns-guard: missing Moorlak LUID");
    return false;
  }
  return InstallFilters(guard, [&](WfpSession& session) { return AddFiltersTx(session, request); });
}

}  // namespace

bool InstallDnsGuard(FilterSet& guard, uint64_t luid, const std::string& xrayPath,
                     const std::vector<std::string>& permitHosts) noexcept {
  return Guarded(false, [&] { return Install(guard, {luid, xrayPath, permitHosts}); });
}

}  // namespace moorlak
