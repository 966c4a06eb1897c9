#include "net/routing/route_rows.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace moorlak {
namespace {

constexpr uint32_t kHighestMetric = std::numeric_limits<uint32_t>::max();

std::string HopText(const RouteRow& row) {
  return DottedQuad(row.nextHop) + " if=" + std::to_string(row.interfaceIndex) +
         " metric=" + std::to_string(row.metric);
}

bool IsPhysicalDefault(const RouteRow& row, uint32_t tunnelIndex) {
  return IsDefaultRoute(row) && row.nextHop != 0 && !IsTunnelDefault(row, tunnelIndex);
}

}  // namespace

std::string DottedQuad(uint32_t address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string((address >> shift) & 0xFF);
    if (shift > 0) text += '.';
  }
  return text;
}

bool IsDefaultRoute(const RouteRow& row) {
  return row.destination == 0 && row.mask == 0;
}

bool LeadsIntoTunnel(const RouteRow& row, uint32_t tunnelIndex) {
  return row.nextHop == kTunnelGatewayNumber || (tunnelIndex != 0 && row.interfaceIndex == tunnelIndex);
}

bool IsTunnelDefault(const RouteRow& row, uint32_t tunnelIndex) {
  return IsDefaultRoute(row) && LeadsIntoTunnel(row, tunnelIndex);
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
  return best != nullptr ? DottedQuad(best->nextHop) : std::string();
}

bool HasTunnelDefault(const std::vector<RouteRow>& rows, uint32_t tunnelIndex) {
  return std::ranges::any_of(rows, [=](const RouteRow& row) { return IsTunnelDefault(row, tunnelIndex); });
}

bool TunnelDefaultWins(const std::vector<RouteRow>& rows, uint32_t tunnelIndex) {
  uint32_t lowest = kHighestMetric;
  std::optional<uint32_t> lowestOfTunnel;
  for (const RouteRow& row : rows) {
    if (!IsDefaultRoute(row)) continue;
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
    if (IsDefaultRoute(row)) lines.push_back("diag: IPv4 default via " + HopText(row));
  }
  lines.push_back("diag: IPv4 default route count=" + std::to_string(lines.size()));
  return lines;
}

}  // namespace moorlak
