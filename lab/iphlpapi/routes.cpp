#include "iphlpapi/routes.h"

#include <algorithm>
#include <tuple>

#include "programs/console/adapters.h"
#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kLoopbackType = 24;

const Adapter* AdapterOf(const MachineState& state, const Route& route) {
  return FindInterface(state, {route.luid, 0, false});
}

Ipv4Row Row(const Route& route, const Adapter& adapter) {
  return {ParseIpv4(route.destination).value_or(0), MaskOf(route.prefixLength), ParseIpv4(route.nextHop).value_or(0),
          adapter.ipv4.ifIndex, route.metric + MetricInForce(adapter, false)};
}

bool SortsBefore(const Ipv4Row& one, const Ipv4Row& other) {
  const auto key = [](const Ipv4Row& row) { return std::tuple(row.destination, row.nextHop != 0, row.nextHop); };
  return key(one) < key(other);
}

void AppendRows2(std::vector<RouteRow2>& rows, const MachineState& state, bool ipv6) {
  for (const Route& route : ipv6 ? state.ipv6Routes : state.ipv4Routes) {
    const Adapter* adapter = AdapterOf(state, route);
    if (adapter == nullptr) continue;
    rows.push_back({ipv6, SettingsOf(*adapter, ipv6).ifIndex, adapter->type == kLoopbackType, route});
  }
}

auto SameRouteOn(uint64_t luid, const Ipv4Route& wanted) {
  return [luid, wanted](const Route& route) {
    return route.luid == luid && route.prefixLength == wanted.prefixLength &&
           ParseIpv4(route.destination) == wanted.destination && ParseIpv4(route.nextHop) == wanted.nextHop;
  };
}

bool IsBetter(const Ipv4Row& row, const Ipv4Row& best) {
  // Masks without gaps compare like their lengths.
  return row.mask != best.mask ? row.mask > best.mask : row.metric < best.metric;
}

}  // namespace

std::vector<Ipv4Row> Ipv4Rows(const MachineState& state, bool sorted) {
  std::vector<Ipv4Row> rows;
  for (const Route& route : state.ipv4Routes) {
    if (const Adapter* adapter = AdapterOf(state, route)) rows.push_back(Row(route, *adapter));
  }
  if (sorted) std::ranges::stable_sort(rows, SortsBefore);
  return rows;
}

std::vector<RouteRow2> RouteRows2(const MachineState& state, Family family) {
  std::vector<RouteRow2> rows;
  if (family != Family::Ipv6) AppendRows2(rows, state, false);
  if (family != Family::Ipv4) AppendRows2(rows, state, true);
  return rows;
}

uint32_t DeleteIpv4Route(MachineState& state, const Ipv4Row& row) {
  if (row.ifIndex == 0 || !PrefixLengthOf(row.mask)) return kInvalidParameter;
  const auto isMeant = [&](const Route& route) {
    const Adapter* adapter = AdapterOf(state, route);
    if (adapter == nullptr) return false;
    Ipv4Row one = Row(route, *adapter);
    one.metric = row.metric;
    return one == row;
  };
  return Deactivate(state, false, isMeant) != 0 ? kDone : kNotFound;
}

uint32_t CreateIpv4Route2(MachineState& state, const InterfaceKey& key, const Ipv4Route& route) {
  if (key.luid == 0 && key.ifIndex == 0) return kInvalidParameter;
  if (route.prefixLength > 32 || (route.destination & ~MaskOf(route.prefixLength)) != 0) return kInvalidParameter;
  const Adapter* adapter = FindInterface(state, key);
  if (adapter == nullptr || !adapter->ipv4.bound) return kNotFound;
  if (std::ranges::any_of(state.ipv4Routes, SameRouteOn(adapter->luid, route))) return kObjectAlreadyExists;
  ActivateRoute(
      state, false,
      {Ipv4Text(route.destination), route.prefixLength, Ipv4Text(route.nextHop), adapter->luid, route.metric, false});
  return kDone;
}

uint32_t DeleteIpv4Route2(MachineState& state, const InterfaceKey& key, const Ipv4Route& route) {
  if (key.luid == 0 && key.ifIndex == 0) return kInvalidParameter;
  const Adapter* adapter = FindInterface(state, key);
  if (adapter == nullptr) return kNotFound;
  return Deactivate(state, false, SameRouteOn(adapter->luid, route)) != 0 ? kDone : kNotFound;
}

uint32_t FindBestIpv4Route(const MachineState& state, uint32_t destination, Ipv4Row& best) {
  bool found = false;
  for (const Route& route : state.ipv4Routes) {
    const Adapter* adapter = AdapterOf(state, route);
    if (adapter == nullptr || !IsUp(*adapter)) continue;
    const Ipv4Row row = Row(route, *adapter);
    if ((destination & row.mask) != row.destination || (found && !IsBetter(row, best))) continue;
    best = row;
    found = true;
  }
  return found ? kDone : kNetworkUnreachable;
}

}  // namespace moorlak::lab
