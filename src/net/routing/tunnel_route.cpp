#include "net/routing/tunnel_route.h"

#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <vector>

#include "base/guarded.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "net/adapter/adapter_lookup.h"
#include "net/routing/route_plan.h"
#include "net/routing/route_table.h"
#include "process/hidden_command.h"

namespace moorlak {
namespace {

struct DefaultRouteState {
  Mutex lock;
  // Written under the lock.
  std::atomic<uint64_t> generation{0};
};
DefaultRouteState defaultRoute;

void RemoveFromAllLocked() REQUIRES(defaultRoute.lock) {
  const std::optional<std::vector<AdapterInfo>> adapters = ReadAdapters(AF_UNSPEC, kAddressesOnlyFlags);
  if (!adapters) return;
  for (const AdapterInfo& adapter : *adapters) {
    // Our names consist of letters, a blank and digits, which are safe in a command line.
    if (!IsOurAdapterName(adapter.name)) continue;
    RunHiddenCommand(StoredDefaultDeleteCommand(adapter.nameUtf8));
  }
}

// 1.0.0.1: only the system's route to it is looked up; nothing is sent.
constexpr Ipv4Address kProbeDestination{0x01000001};

bool CarriesTunnelAddress(const AdapterInfo& adapter) {
  return std::ranges::find(adapter.ipv4Addresses, kTunnelAddress) != adapter.ipv4Addresses.end();
}

// If any adapter is up, those that are down do not count: nothing can be sent from their addresses.
bool OursCarriesTunnelAddress() {
  std::optional<std::vector<AdapterInfo>> adapters = ReadAdapters(AF_INET, kAddressesOnlyFlags);
  if (!adapters) return false;
  std::erase_if(*adapters, [](const AdapterInfo& adapter) { return !IsOurAdapterName(adapter.name); });
  const bool anyUp = std::ranges::any_of(*adapters, &AdapterInfo::up);
  return std::ranges::any_of(*adapters, [anyUp](const AdapterInfo& adapter) {
    return (adapter.up || !anyUp) && CarriesTunnelAddress(adapter);
  });
}

bool BestLeadsIntoTunnel() {
  const BestRoute best = FindBestRoute(kProbeDestination);
  if (best.error != NO_ERROR) {
    WriteLogLine("diag: GetBestRoute(1.0.0.1) failed err=" + std::to_string(best.error) +
                 " (ignored if table metric wins)");
    return false;
  }
  WriteLogLine(BestRouteLine(best.row));
  return LeadsIntoTunnel(best.row, FindAdapterIndex());
}

}  // namespace

DefaultRouteClaim::DefaultRouteClaim() : guard(defaultRoute.lock) {
  ++defaultRoute.generation;
}

uint64_t DefaultRouteGeneration() noexcept {
  return defaultRoute.generation;
}

void RemoveStoredDefaultRoute(uint64_t wantedGeneration) noexcept {
  Guarded([wantedGeneration] {
    const MutexGuard guard(defaultRoute.lock);
    if (wantedGeneration == defaultRoute.generation) RemoveFromAllLocked();
  });
}

void EnableTunnelAdapter() noexcept {
  Guarded([] {
    const std::wstring name = FindTunnelAdapterName();
    if (!name.empty()) RunHiddenCommand(EnableAdapterCommand(NarrowUtf16(name)));
  });
}

void LowerTunnelMetric(const std::string& adapterName) noexcept {
  Guarded([&] { RunHiddenCommand(InterfaceMetricCommand(adapterName)); });
}

void AddTunnelDefaultRoute(const std::string& adapterName) noexcept {
  Guarded([&] {
    const HiddenCommand command = TunnelDefaultAddCommand(adapterName);
    WriteStandardErrorLine("VPN Service: Adding default route: " + command.text);
    const DefaultRouteClaim claim;
    RunHiddenCommand(command);
  });
}

bool TunnelAdapterListed() noexcept {
  return !FindTunnelAdapterName().empty();
}

bool TunnelAdapterHasAddress() noexcept {
  return Guarded(false, OursCarriesTunnelAddress);
}

bool TunnelDefaultListed() noexcept {
  return Guarded(false, [] { return HasTunnelDefault(PlainRows(ReadRouteTable()), FindAdapterIndex()); });
}

bool TunnelDefaultMetricWins() noexcept {
  return Guarded(false, [] { return TunnelDefaultWins(PlainRows(ReadRouteTable()), FindAdapterIndex()); });
}

bool BestRouteViaTunnel() noexcept {
  return Guarded(false, BestLeadsIntoTunnel);
}

bool Ipv6DefaultPresent() noexcept {
  return Guarded(false, HasIpv6Default);
}

}  // namespace moorlak
