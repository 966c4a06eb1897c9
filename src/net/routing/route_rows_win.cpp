#include <vector>

#include "base/guarded.h"
#include "base/log.h"
#include "net/routing/route_rows.h"
#include "net/routing/route_table.h"
#include "net/routing/tunnel_route.h"

namespace moorlak {
namespace {

void LogLines(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) WriteLogLine(line);
}

void LogDefaultRoutes() {
  const RouteTable table = ReadRouteTable();
  switch (table.outcome) {
    case RouteRead::SizeFailed:
      WriteLogLine("diag: GetIpForwardTable size failed");
      break;
    case RouteRead::ReadFailed:
      WriteLogLine("diag: GetIpForwardTable failed");
      break;
    case RouteRead::Done:
      LogLines(DefaultRouteLines(PlainRows(table)));
      break;
  }
}

}  // namespace

void LogConnectDiagnostics(const std::string& physicalGateway, const std::string& serverBypassIp) noexcept {
  Guarded([&] {
    WriteLogLine("=== connect diagnostics begin ===");
    WriteLogLine(CheckLine("adapter_listed", TunnelAdapterListed()));
    WriteLogLine(CheckLine("adapter_ip_10.0.85.2", TunnelAdapterHasAddress()));
    WriteLogLine(CheckLine("default_listed_Moorlak", TunnelDefaultListed()));
    WriteLogLine(CheckLine("default_metric_wins", TunnelDefaultMetricWins()));
    WriteLogLine(CheckLine("best_route_via_Moorlak", BestRouteViaTunnel()));
    WriteLogLine(CheckLine("ipv6_default_present", Ipv6DefaultPresent()));
    LogLines(BypassLines(physicalGateway, serverBypassIp));
    LogDefaultRoutes();
    WriteLogLine("=== connect diagnostics end ===");
  });
}

}  // namespace moorlak
