#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "base/boot_identity.h"
#include "base/data_files.h"
#include "base/guarded.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/utf.h"
#include "net/adapter/adapter_lookup.h"
#include "net/routing/route_journal.h"
#include "net/routing/route_table.h"

namespace moorlak {
namespace {

constexpr wchar_t kPersistentRoutesKey[] = L"SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters\\PersistentRoutes";
// Four numbers of at most 15 characters each; a longer name is not a route.
constexpr DWORD kLongestRouteName = 128;

constexpr wchar_t kFileName[] = L"routes_restore.v1";
constexpr size_t kMaxBytes = 16u << 20;

struct KeptJournal {
  Mutex lock;
  RouteJournal routes GUARDED_BY(lock);
};
KeptJournal kept;

void PersistLocked() REQUIRES(kept.lock) {
  kept.routes.boot = BootIdentity();
  if (kept.routes.IsEmpty()) {
    DeleteRecoveryFile(kFileName);
  } else if (!WriteRecoveryFile(kFileName, FormatRouteJournal(kept.routes))) {
    WriteLogLine("routes: failed to write the route backup (" + std::to_string(GetLastError()) + ")");
  }
}

// Tries twice; nullopt if the table cannot be read.
std::optional<RoutesNow> ReadRoutesNow() {
  auto table = ReadSystemRoutes();
  if (!table) table = ReadSystemRoutes();
  if (!table) return std::nullopt;
  const auto tunnel = FindTunnelAdapter();
  return RoutesNow{std::move(*table), ReadPersistentRoutes(), tunnel ? tunnel->luid : 0};
}

bool JournalLocked(const GatewayRoute& route) REQUIRES(kept.lock) {
  const auto now = ReadRoutesNow();
  if (!now) {
    WriteLogLine("routes: could not read the route table; routes to " + route.destination + " stay");
    return false;
  }
  if (RecordReplacement(kept.routes, route, *now)) PersistLocked();
  return true;
}

void JournalAllLocked(const std::vector<GatewayRoute>& routes) REQUIRES(kept.lock) {
  const auto now = ReadRoutesNow();
  if (!now) return;
  bool noted = false;
  for (const GatewayRoute& route : routes) noted |= RecordReplacement(kept.routes, route, *now);
  if (noted) PersistLocked();
}

// A route through an adapter that is gone has disappeared with it.
bool IsLost(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_NOT_FOUND;
}

std::vector<Ipv4Route> RemoveAddedLocked(const std::vector<SystemRoute>& table) REQUIRES(kept.lock) {
  std::vector<Ipv4Route> left;
  for (const SystemRoute& row : AddedRows(kept.routes, table)) {
    const DWORD error = DeleteSystemRoute(row);
    if (error == NO_ERROR || IsLost(error)) continue;
    WriteLogLine("routes: could not remove a bypass route (" + std::to_string(error) + ")");
    left.push_back(row.route);
  }
  return left;
}

// The machine's current network, into which routes are put back.
struct Network {
  std::vector<SystemRoute> table;
  std::vector<LocalAddress> addresses;
};

// nullopt if it is unknown which routes can come back.
std::optional<Network> ReadNetwork() {
  auto table = ReadSystemRoutes();
  const auto adapters = ReadAdapters(AF_INET, kAddressesOnlyFlags);
  if (!table || !adapters) return std::nullopt;
  Network network{std::move(*table), {}};
  for (const AdapterInfo& adapter : *adapters) {
    for (const Ipv4Address address : adapter.ipv4Addresses) network.addresses.push_back({adapter.luid, address});
  }
  return network;
}

// True if the route is finished. A route that the system had stored waits for its network.
bool CannotComeBack(const SystemRoute& route, bool stored) {
  if (!stored) WriteLogLine("routes: dropped a route that cannot come back: " + RouteText(route.route));
  return !stored;
}

// True if the route is finished.
bool PutBack(const SystemRoute& route, bool stored, Network& network) {
  if (HasRoute(network.table, route)) return true;
  if (!CanComeBack(route, network.table, network.addresses)) return CannotComeBack(route, stored);
  // Even if creating it fails: routes whose gateway is on its link are then retried with it, not dropped.
  network.table.push_back(route);
  const DWORD error = CreateSystemRoute(route);
  if (error == NO_ERROR || error == ERROR_OBJECT_ALREADY_EXISTS) return true;
  if (IsLost(error)) return CannotComeBack(route, stored);
  WriteLogLine("routes: could not put back a route (" + std::to_string(error) + ")");
  return false;
}

// On-link routes first: a gateway can be on the link of another removed route.
void PutBackTakenLocked(Network& network) REQUIRES(kept.lock) {
  for (const bool onLink : {true, false}) {
    const auto isDone = [&](bool stored) {
      return [&network, onLink, stored](const SystemRoute& route) {
        return route.route.IsOnLink() == onLink && PutBack(route, stored, network);
      };
    };
    std::erase_if(kept.routes.taken, isDone(false));
    std::erase_if(kept.routes.takenStored, isDone(true));
  }
}

void RestoreOnceLocked() REQUIRES(kept.lock) {
  const auto before = ReadSystemRoutes();
  if (!before) return;
  kept.routes.added = RemoveAddedLocked(*before);
  if (auto network = ReadNetwork()) PutBackTakenLocked(*network);
  PersistLocked();
}

// What fails once is tried again before it is left to a later recovery.
void RestoreLocked() REQUIRES(kept.lock) {
  constexpr int kTries = 2;
  for (int tries = 0; tries < kTries && !kept.routes.IsEmpty(); ++tries) RestoreOnceLocked();
}

void LoadLocked() REQUIRES(kept.lock) {
  std::string text;
  if (ReadRecoveryFile(kFileName, kMaxBytes, text) != FileRead::Done) return;
  kept.routes = ParseRouteJournal(text);
  WriteLogLine(kept.routes.IsEmpty() ? "routes: unknown route backup" : "routes: recovering routes from disk backup");
}

// If the file does not say which start of the system it is from, it is used unchanged.
void ForgetBeforeRestartLocked() REQUIRES(kept.lock) {
  const uint64_t boot = BootIdentity();
  if (kept.routes.boot == 0 || boot == 0 || kept.routes.boot == boot) return;
  const size_t forgotten = ForgetVolatile(kept.routes);
  WriteLogLine("routes: the system was restarted, " + std::to_string(forgotten) + " taken route(s) not put back");
  PersistLocked();
}

}  // namespace

std::vector<Ipv4Route> ReadPersistentRoutes() {
  std::vector<Ipv4Route> routes;
  HKEY opened = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPersistentRoutesKey, 0, KEY_QUERY_VALUE, &opened) != ERROR_SUCCESS)
    return routes;
  const RegistryKey key(opened);
  wchar_t name[kLongestRouteName];
  LONG error = ERROR_SUCCESS;
  for (DWORD i = 0; error == ERROR_SUCCESS || error == ERROR_MORE_DATA; ++i) {
    DWORD length = kLongestRouteName;
    error = RegEnumValueW(key.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
    const auto route = error == ERROR_SUCCESS ? ParsePersistentRoute(NarrowUtf16({name, length})) : std::nullopt;
    if (route) routes.push_back(*route);
  }
  return routes;
}

bool JournalReplacement(const GatewayRoute& route) noexcept {
  return Guarded(false, [&] {
    const MutexGuard guard(kept.lock);
    return JournalLocked(route);
  });
}

void JournalReplacements(const std::vector<GatewayRoute>& routes) noexcept {
  Guarded([&] {
    const MutexGuard guard(kept.lock);
    JournalAllLocked(routes);
  });
}

void JournalAdded(const GatewayRoute& route) noexcept {
  Guarded([&] {
    const MutexGuard guard(kept.lock);
    if (RecordAdded(kept.routes, route)) PersistLocked();
  });
}

void RestoreJournaledRoutes() noexcept {
  Guarded([] {
    const MutexGuard guard(kept.lock);
    RestoreLocked();
  });
}

void RecoverJournaledRoutes() noexcept {
  Guarded([] {
    const MutexGuard guard(kept.lock);
    LoadLocked();
    ForgetBeforeRestartLocked();
    RestoreLocked();
  });
}

}  // namespace moorlak
