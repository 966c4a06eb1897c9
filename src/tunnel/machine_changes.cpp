#include "tunnel/machine_changes.h"

#include <iterator>
#include <utility>

#include "config/config_staging.h"
#include "net/adapter/wintun_holder.h"
#include "net/routing/quick_teardown.h"
#include "net/routing/route_journal.h"
#include "net/routing/tunnel_route.h"
#include "net/share/proxy_sharing.h"
#include "process/background_commands.h"
#include "process/stray_engines.h"
#include "tunnel/protection.h"
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

void EndSessionEngines(VpnService& service) noexcept {
  if (service.session) EndEngines(*service.session);
}

void DropDefaultRoutes(VpnService& service) noexcept {
  FastDropDefaultRoutes(service.routeCommandHung);
}

void PurgeDefaultRoutes() noexcept {
  FastDropDefaultRoutes();
}

void ClearTunnelAddress() noexcept {
  FastClearTunnelAddress();
}

template <FilterSet Protection::*set>
void RemoveSet(Protection& protection) noexcept {
  RemoveFilters(protection.*set);
}

template <FilterSet Protection::*set>
void PurgeSet(Protection& protection) noexcept {
  PurgeFilters(protection.*set);
}

void RestorePolicy(Protection& protection) noexcept {
  RestoreSmhnrPolicy(protection.policy);
}

void RecoverPolicy(Protection& protection) noexcept {
  RecoverOrphanedSmhnr(protection.policy);
}

void RestoreNameServersInBackground(VpnService& service) noexcept {
  const uint64_t generation = service.protection->generation;
  if (!service.protection->IsDnsNeutralised(generation)) return;
  RunInBackground([protection = service.protection, generation] { protection->RestoreDns(generation); });
}

void RecoverNameServers(Protection& protection) noexcept {
  protection.RecoverNameServersLocked();
}

void RemoveStoredRouteInBackground() noexcept {
  const uint64_t generation = DefaultRouteGeneration();
  RunInBackground([generation] { RemoveStoredDefaultRoute(generation); });
}

void PurgeStoredRoute() noexcept {
  RemoveStoredDefaultRoute(DefaultRouteGeneration());
}

// Once for each session, but tried twice: the first `netsh` after a start may exceed its time, and the rule must not
// stay open.
void CloseSharing(VpnService& service) noexcept {
  if (!service.session || !std::exchange(service.session->sharesPorts, false)) return;
  if (CloseProxySharingFirewall() != CommandOutcome::Succeeded) CloseProxySharingFirewall();
}

void RemoveStaged(VpnService& service) noexcept {
  if (service.session) RemoveStagedConfig(service.session->staged);
}

void BringAdapterBack() noexcept {
  WintunHolder::Instance().SetUp();
}

void RemoveLeftovers() noexcept {
  WintunHolder::Instance().PurgeOrphans();
}

constexpr char kAtStart[] = "the service's start opens the persistent adapter first, which removes the others";
constexpr char kOwnAdapter[] = "only our own adapter has it, which carries nothing without an engine";
constexpr char kOwnName[] = "it is the product's name for its own network";

using Change = MachineChange;

// The change, its phase, its name, what undoes it, what removes it after a crash.
constexpr MachineChangeRow kRows[] = {
    {Change::Engines, Phase::Engines, "engines", EndSessionEngines, "their job ends them; the next row would, too"},
    {Change::UnrecordedEngines, Phase::UnrecordedEngines, "engines without a record", KillStrayEngines,
     KillStrayEngines},

    {Change::DefaultRoute, Phase::Traffic, "default route", DropDefaultRoutes, PurgeDefaultRoutes},
    {Change::TunnelAddress, Phase::Traffic, "tunnel address", ClearTunnelAddress, ClearTunnelAddress},

    {Change::SplitFilters, Phase::Filters, "split tunnel", RemoveSet<&Protection::split>, PurgeSet<&Protection::split>},
    {Change::GuardFilters, Phase::Filters, "DNS guard", RemoveSet<&Protection::guard>, PurgeSet<&Protection::guard>},
    {Change::ResolverPolicy, Phase::Filters, "resolver policy", RestorePolicy, RecoverPolicy},

    {Change::BypassRoutes, Phase::BypassRoutes, "bypass routes", RestoreJournaledRoutes, RecoverJournaledRoutes},
    {Change::NameServers, Phase::NameServers, "name servers", RestoreNameServersInBackground, RecoverNameServers},
    {Change::StoredDefaultRoute, Phase::StoredRoute, "stored default route", RemoveStoredRouteInBackground,
     PurgeStoredRoute},
    {Change::SharingRule, Phase::Firewall, "sharing rule", CloseSharing, CloseSharingOfEarlierSession},
    {Change::StagedConfiguration, Phase::Files, "staged configuration", RemoveStaged, RemoveStagedVpnConfigs},

    {Change::PersistentAdapter, Phase::PersistentAdapter, "persistent adapter", BringAdapterBack, kAtStart},
    {Change::EngineAdapters, Phase::EngineAdapters, "engines' adapters", RemoveLeftovers, kAtStart},

    {Change::AdapterUp, Phase::None, "adapter enabled", kOwnAdapter, kOwnAdapter},
    {Change::TunnelMetric, Phase::None, "tunnel adapter's metric", kOwnAdapter, kOwnAdapter},
    {Change::TunnelNameServers, Phase::None, "tunnel adapter's name servers", kOwnAdapter, kOwnAdapter},
    {Change::NetworkName, Phase::None, "network name", kOwnName, kOwnName},
};

static_assert(std::size(kRows) == kMachineChangeCount, "each kind of change has its row");

template <typename Action>
void ForEachRow(Phase phase, Action action) {
  for (const MachineChangeRow& row : kRows) {
    if (row.phase == phase) action(row);
  }
}

// An undo, or a purge.
template <typename Action>
void RunWithoutSession(const Action& action, Protection& protection) noexcept {
  if (action.run != nullptr) action.run();
  if (action.runForProtection != nullptr) action.runForProtection(protection);
}

void RunForSession(const Undo& undo, VpnService& service) noexcept {
  RunWithoutSession(undo, *service.protection);
  if (undo.runForSession != nullptr) undo.runForSession(service);
}

}  // namespace

std::span<const MachineChangeRow> MachineChanges() {
  return kRows;
}

void UndoChanges(std::span<const Phase> phases, VpnService& service) noexcept {
  for (const Phase phase : phases) {
    ForEachRow(phase, [&](const MachineChangeRow& row) { RunForSession(row.undo, service); });
  }
}

void UndoChangesWithoutSession(std::span<const Phase> phases, Protection& protection) noexcept {
  for (const Phase phase : phases) {
    ForEachRow(phase, [&](const MachineChangeRow& row) { RunWithoutSession(row.undo, protection); });
  }
}

void PurgeChanges(std::span<const Phase> phases, Protection& protection, void (*phaseDone)()) noexcept {
  for (const Phase phase : phases) {
    ForEachRow(phase, [&](const MachineChangeRow& row) { RunWithoutSession(row.purge, protection); });
    if (phaseDone != nullptr) phaseDone();
  }
}

}  // namespace moorlak
