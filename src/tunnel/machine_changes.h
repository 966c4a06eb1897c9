// Every kind of change that a VPN session makes to the machine, in one table: what undoes it, in which phase, and what
// removes it after a crash. Disconnect, rollback, removal and recovery walk the table's phases in the orders below, so
// a new kind of change is one more value and one more row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace moorlak {

struct Protection;
struct VpnService;

// The kinds of changes. Each connect step names those that it makes (tunnel/connect_sequence.cpp).
enum class MachineChange : uint8_t {
  // Engines that the session has a record of.
  Engines,
  // Engines that run a test or a query, or whose start is not recorded yet.
  UnrecordedEngines,
  // The default route into the tunnel, which the session or the engine has added.
  DefaultRoute,
  TunnelAddress,
  // Applications that are kept out of the tunnel.
  SplitFilters,
  GuardFilters,
  ResolverPolicy,
  // Routes around the tunnel, and the routes that they replace.
  BypassRoutes,
  // The physical adapters' name servers and metrics.
  NameServers,
  // What the system would activate again at its next start.
  StoredDefaultRoute,
  SharingRule,
  StagedConfiguration,
  // Opened, or closed for the engine's own.
  PersistentAdapter,
  // Adapters that an engine creates for itself.
  EngineAdapters,
  AdapterUp,
  TunnelMetric,
  TunnelNameServers,
  NetworkName,
};
inline constexpr size_t kMachineChangeCount = static_cast<size_t>(MachineChange::NetworkName) + 1;

// Changes that are undone together. A phase's rows are executed in the order of the table.
enum class Phase : uint8_t {
  // Never undone.
  None,
  Engines,
  UnrecordedEngines,
  Traffic,
  Filters,
  BypassRoutes,
  NameServers,
  StoredRoute,
  Firewall,
  Files,
  PersistentAdapter,
  EngineAdapters,
};

// The orders. What happens between the phases, such as joining the session's thread, is in tunnel/disconnect.cpp and
// service/recovery.cpp.

// Disconnect and rollback. A rollback during a stop does no more than the first.
inline constexpr Phase kRecordedEngines[] = {Phase::Engines};
inline constexpr Phase kOtherEngines[] = {Phase::UnrecordedEngines};
// Disconnect: before anything slow, so that traffic returns to the physical network at once.
inline constexpr Phase kQuickRelease[] = {Phase::Traffic, Phase::Filters};
// Disconnect and rollback (CleanupNetworkConfiguration). Repeats the quick release, because a connect that was still
// running may have changed something since. Name servers and stored route continue in the background.
inline constexpr Phase kCleanUp[] = {Phase::BypassRoutes, Phase::Traffic,     Phase::Filters,
                                     Phase::NameServers,  Phase::StoredRoute, Phase::Firewall};
// Disconnect, after the background work; also the end of the session's thread.
inline constexpr Phase kEndOfSession[] = {Phase::Files};
// The end of a user's stop; of a stop before another start.
inline constexpr Phase kAfterUsersStop[] = {Phase::PersistentAdapter};
inline constexpr Phase kBeforeNextStart[] = {Phase::EngineAdapters};

// Removal (Protection::Remove), before it restores the name servers on its own thread. There need not be a session.
inline constexpr Phase kRemoval[] = {Phase::Filters};

// Recovery: the service's start after a crash. Protection::Recover walks the second.
inline constexpr Phase kEngineRecovery[] = {Phase::UnrecordedEngines};
inline constexpr Phase kNetworkRecovery[] = {Phase::Filters, Phase::Traffic, Phase::NameServers};
inline constexpr Phase kStoredRecovery[] = {Phase::StoredRoute, Phase::BypassRoutes, Phase::Firewall, Phase::Files};

// What undoes a change: a function, which may have to know the protection or the session, or the reason why nothing
// does. Every function is safe to call if the change was never made.
struct Undo {
  constexpr Undo(void (*function)() noexcept) : run(function) {}
  constexpr Undo(void (*function)(Protection&) noexcept) : runForProtection(function) {}
  constexpr Undo(void (*function)(VpnService&) noexcept) : runForSession(function) {}
  constexpr Undo(const char* reason) : whyNone(reason) {}

  void (*run)() noexcept = nullptr;
  void (*runForProtection)(Protection& protection) noexcept = nullptr;
  void (*runForSession)(VpnService& service) noexcept = nullptr;
  std::string_view whyNone;
};

// What removes a change after a crash, at the service's start, when there is neither a session nor an engine: a
// function, or the reason why none has to be in the table.
struct Purge {
  constexpr Purge(void (*function)() noexcept) : run(function) {}
  constexpr Purge(void (*function)(Protection&) noexcept) : runForProtection(function) {}
  constexpr Purge(const char* reason) : whyNone(reason) {}

  void (*run)() noexcept = nullptr;
  void (*runForProtection)(Protection& protection) noexcept = nullptr;
  std::string_view whyNone;
};

struct MachineChangeRow {
  MachineChange change;
  // Of both functions.
  Phase phase;
  std::string_view name;
  Undo undo;
  Purge purge;
};

std::span<const MachineChangeRow> MachineChanges();

// Undoes the changes of these phases, one after the other.
void UndoChanges(std::span<const Phase> phases, VpnService& service) noexcept;
// The same without a session: undoes only what need not know it.
void UndoChangesWithoutSession(std::span<const Phase> phases, Protection& protection) noexcept;

// Removes what a crash left of these phases' changes. The function is called after each phase; null to do nothing. It
// must not throw.
void PurgeChanges(std::span<const Phase> phases, Protection& protection, void (*phaseDone)() = nullptr) noexcept;

}  // namespace moorlak
