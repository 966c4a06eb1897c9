#include "net/routing/route_table.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "base/handle.h"

namespace moorlak {
namespace {

// A route that appears between two calls makes the table grow; gives up on one that grows every time.
constexpr int kMaxReads = 8;

using ForwardTable = UniqueHandle<MIB_IPFORWARD_TABLE2*, FreeMibTable>;

SystemRoute PlainSystemRoute(const MIB_IPFORWARD_ROW2& row) {
  const Ipv4Address destination = FromNetworkOrder(row.DestinationPrefix.Prefix.Ipv4.sin_addr.s_addr);
  const Ipv4Address nextHop = FromNetworkOrder(row.NextHop.Ipv4.sin_addr.s_addr);
  return {{{destination, row.DestinationPrefix.PrefixLength}, nextHop}, row.InterfaceLuid.Value, row.Metric};
}

SOCKADDR_INET SocketAddress(Ipv4Address address) {
  SOCKADDR_INET socketAddress{};
  socketAddress.Ipv4.sin_family = AF_INET;
  socketAddress.Ipv4.sin_addr.s_addr = ToNetworkOrder(address);
  return socketAddress;
}

MIB_IPFORWARD_ROW2 RowOf(const SystemRoute& route) {
  MIB_IPFORWARD_ROW2 row{};
  InitializeIpForwardEntry(&row);
  row.InterfaceLuid.Value = route.luid;
  row.DestinationPrefix.Prefix = SocketAddress(route.route.destination.address);
  row.DestinationPrefix.PrefixLength = static_cast<UINT8>(route.route.destination.length);
  row.NextHop = SocketAddress(route.route.nextHop);
  row.Metric = route.metric;
  return row;
}

}  // namespace

RouteTable ReadRouteTable() {
  ULONG size = 0;
  DWORD answer = GetIpForwardTable(nullptr, &size, TRUE);
  if (answer != ERROR_INSUFFICIENT_BUFFER) return {RouteRead::SizeFailed, {}};
  for (int reads = 0; answer == ERROR_INSUFFICIENT_BUFFER && reads < kMaxReads; ++reads) {
    std::vector<std::max_align_t> buffer(size / sizeof(std::max_align_t) + 1);
    auto* table = reinterpret_cast<MIB_IPFORWARDTABLE*>(buffer.data());
    answer = GetIpForwardTable(table, &size, TRUE);
    if (answer == NO_ERROR) return {RouteRead::Done, {table->table, table->table + table->dwNumEntries}};
  }
  return {RouteRead::ReadFailed, {}};
}

RouteRow PlainRow(const MIB_IPFORWARDROW& row) {
  // The system keeps lengths, so its masks have no gaps.
  const uint32_t length = LengthOfMask(FromNetworkOrder(row.dwForwardMask)).value_or(kIpv4Bits);
  const Ipv4Prefix destination{FromNetworkOrder(row.dwForwardDest), length};
  return {{destination, FromNetworkOrder(row.dwForwardNextHop)}, row.dwForwardIfIndex, row.dwForwardMetric1};
}

std::vector<RouteRow> PlainRows(const RouteTable& table) {
  std::vector<RouteRow> rows(table.rows.size());
  std::ranges::transform(table.rows, rows.begin(), PlainRow);
  return rows;
}

BestRoute FindBestRoute(Ipv4Address destination) {
  MIB_IPFORWARDROW row{};
  const DWORD error = GetBestRoute(ToNetworkOrder(destination), 0, &row);
  return {error, error == NO_ERROR ? PlainRow(row) : RouteRow{}};
}

std::optional<std::vector<SystemRoute>> ReadSystemRoutes() {
  ForwardTable table;
  if (GetIpForwardTable2(AF_INET, table.Out()) != NO_ERROR || !table) return std::nullopt;
  const std::span rows(table.Get()->Table, table.Get()->NumEntries);
  std::vector<SystemRoute> routes(rows.size());
  std::ranges::transform(rows, routes.begin(), PlainSystemRoute);
  return routes;
}

DWORD DeleteSystemRoute(const SystemRoute& route) {
  const MIB_IPFORWARD_ROW2 row = RowOf(route);
  return DeleteIpForwardEntry2(&row);
}

DWORD CreateSystemRoute(const SystemRoute& route) {
  const MIB_IPFORWARD_ROW2 row = RowOf(route);
  return CreateIpForwardEntry2(&row);
}

bool HasIpv6Default() {
  ForwardTable table;
  if (GetIpForwardTable2(AF_INET6, table.Out()) != NO_ERROR || !table) return false;
  const std::span rows(table.Get()->Table, table.Get()->NumEntries);
  return std::ranges::any_of(rows, [](const MIB_IPFORWARD_ROW2& row) {
    return row.DestinationPrefix.Prefix.si_family == AF_INET6 && row.DestinationPrefix.PrefixLength == 0;
  });
}

}  // namespace moorlak
