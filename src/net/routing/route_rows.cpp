#include "net/routing/route_rows.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace moorlak {
namespace {

constexpr uint32_t kHighestMetric = std::numeric_limits<uint32_t>::max();

std::string HopText(const RouteRow& row) {
  return Ipv4Text(row.route.nextHop) + " if=" + std::to_string(row.interfaceIndex) +
         " metric=" + std::to_string(row.metric);
}

bool IsPhysicalDefault(const RouteRow& row, uint32_t tunnelIndex) {
  return row.route.destination.IsDefault() && !row.route.IsOnLink() && !IsTunnelDefault(row, tunnelIndex);
}

}  // namespace

bool LeadsIntoTunnel(const RouteRow& row, uint32_t tunnelIndex) {
  return row.route.nextHop == kTunnelGateway || (tunnelIndex != 0 && row.interfaceIndex == tunnelIndex);
}

bool IsTunnelDefault(const RouteRow& row, uint32_t tunnelIndex) {
  return row.route.destination.IsDefault() && LeadsIntoTunnel(row, tunnelIndex);
}

std::string ChoosePhysicalGateway(const std::vector<RouteRow>& rows, uint32_t tunnelIndex) {
  const RouteRow* best = nullptr;
  // A route with the highest possible metric never becomes the gateway: even the first row needs a lower one.
  uint32_t lowest = kHighestMetric;
  for (const RouteRow& row : rows) {
    if (!IsPhysicalDefault(row, tunnelIndex) || row.metric >= lowest) continue;
    best = &row;
    lowest = row.metric;
  }
  return best != nullptr ? Ipv4Text(best->route.nextHop) : std::string();
}

bool HasTunnelDefault(const std::vector<RouteRow>& rows, uint32_t tunnelIndex) {
  return std::ranges::any_of(rows, [=](const RouteRow& row) { return IsTunnelDefault(row, tunnelIndex); });
}

bool TunnelDefaultWins(const std::vector<RouteRow>& rows, uint32_t tunnelIndex) {
  uint32_t lowest = kHighestMetric;
  std::optional<uint32_t> lowestOfTunnel;
  for (const RouteRow& row : rows) {
    if (!row.route.destination.IsDefault()) continue;
    lowest = std::min(lowest, row.metric);
    if (IsTunnelDefault(row, tunnelIndex)) lowestOfTunnel = std::min(lowestOfTunnel.value_or(row.metric), row.metric);
  }
  return lowestOfTunnel && *lowestOfTunnel <= lowest;
}

std::string CheckLine(std::string_view check, bool answer) {
  return "diag: " + std::string(check) + (answer ? "=yes" : "=no");
}

std::string BestRouteLine(const RouteRow& row) {
  return "diag: best_route 1.0.0.1 via " + HopText(row);
}

std::vector<std::string> BypassLines(std::string_view physicalGateway, std::string_view serverBypassIp) {
  std::vector<std::string> lines;
  lines.push_back("diag: physical_gateway=" + std::string(physicalGateway.empty() ? "(empty)" : physicalGateway));
  if (!serverBypassIp.empty()) lines.push_back("diag: server_bypass_ip=" + std::string(serverBypassIp));
  return lines;
}

std::vector<std::string> DefaultRouteLines(const std::vector<RouteRow>& rows) {
  std::vector<std::string> lines;
  for (const RouteRow& row : rows) {
    if (row.route.destination.IsDefault()) lines.push_back("diag: IPv4 default via " + HopText(row));
  }
  lines.push_back("diag: IPv4 default route count=" + std::to_string(lines.size()));
  return lines;
}

}  // namespace moorlak
