#include "net/routing/route_journal.h"

#include <winsock2.h>
#include <windows.h>

#include <mutex>
#include <string>

#include "base/data_files.h"
#include "base/durable_file.h"
#include "base/guarded.h"
#include "base/log.h"
#include "net/adapter/adapter_lookup.h"
#include "net/routing/journaled_routes.h"
#include "net/routing/route_table.h"

namespace moorlak {
namespace {

constexpr wchar_t kFileName[] = L"routes_restore.v1";
constexpr size_t kMaxBytes = 16u << 20;

std::mutex journalLock;
RouteJournal journal;  // guarded by journalLock

void PersistLocked() {
  const std::wstring path = CommonDataFile(kFileName);
  if (journal.IsEmpty()) {
    DeleteFileW(path.c_str());
  } else if (!WriteFileDurably(path, FormatRouteJournal(journal))) {
    WriteLogLine("routes: failed to write the route backup (" + std::to_string(GetLastError()) + ")");
  }
}

// What the machine has is not known without the table, which is read once more when it cannot be read.
bool JournalLocked(const GatewayRoute& route) {
  const auto tunnel = FindTunnelAdapter();
  auto table = ReadSystemRoutes();
  if (!table) table = ReadSystemRoutes();
  const bool known = table.has_value();
  if (!known) WriteLogLine("routes: could not read the route table; routes to " + route.destination + " stay");
  if (NoteReplacement(journal, route, table.value_or(std::vector<SystemRoute>()), tunnel ? tunnel->luid : 0)) {
    PersistLocked();
  }
  return known;
}

// A route through an adapter that is gone went with it.
bool IsLost(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_NOT_FOUND;
}

std::vector<AddedRoute> RemoveAddedLocked(const std::vector<SystemRoute>& table) {
  std::vector<AddedRoute> left;
  for (const SystemRoute& row : AddedRows(journal, table)) {
    const DWORD error = DeleteSystemRoute(row);
    if (error == NO_ERROR || IsLost(error)) continue;
    WriteLogLine("routes: could not remove a bypass route (" + std::to_string(error) + ")");
    left.push_back({row.destination, row.prefixLength, row.nextHop});
  }
  return left;
}

std::vector<SystemRoute> PutBackTakenLocked(const std::vector<SystemRoute>& table) {
  std::vector<SystemRoute> left;
  for (const SystemRoute& route : journal.taken) {
    if (HasRoute(table, route)) continue;
    const DWORD error = CreateSystemRoute(route);
    if (error == NO_ERROR || error == ERROR_OBJECT_ALREADY_EXISTS || IsLost(error)) continue;
    WriteLogLine("routes: could not put back a route (" + std::to_string(error) + ")");
    left.push_back(route);
  }
  return left;
}

void RestoreOnceLocked() {
  const auto before = ReadSystemRoutes();
  if (!before) return;
  journal.added = RemoveAddedLocked(*before);
  const auto cleared = ReadSystemRoutes();
  if (cleared) journal.taken = PutBackTakenLocked(*cleared);
  PersistLocked();
}

// A single failure costs nothing: what is left is tried once more before it stays for a later recovery.
void RestoreLocked() {
  constexpr int kTries = 2;
  for (int tries = 0; tries < kTries && !journal.IsEmpty(); ++tries) RestoreOnceLocked();
}

void LoadLocked() {
  std::string text;
  if (ReadTrustedFile(CommonDataFile(kFileName), kMaxBytes, text) != FileRead::Done) return;
  journal = ParseRouteJournal(text);
  WriteLogLine(journal.IsEmpty() ? "routes: unknown route backup" : "routes: recovering routes from disk backup");
}

}  // namespace

bool JournalReplacement(const GatewayRoute& route) noexcept {
  return Guarded(false, [&] {
    const std::lock_guard guard(journalLock);
    return JournalLocked(route);
  });
}

void RestoreJournaledRoutes() noexcept {
  Guarded([] {
    const std::lock_guard guard(journalLock);
    RestoreLocked();
  });
}

void RecoverJournaledRoutes() noexcept {
  Guarded([] {
    const std::lock_guard guard(journalLock);
    LoadLocked();
    RestoreLocked();
  });
}

}  // namespace moorlak
