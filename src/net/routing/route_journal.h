// What a session does to the machine's routes, its form in the recovery file, and the journal itself: kept on disk
// while the changes may be in effect, so that they can be undone exactly, after a session and after a crash. One
// journal per process; every operation on it takes its lock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "net/routing/route_plan.h"

namespace moorlak {

// One of the machine's routes, from the system's newer table.
struct SystemRoute {
  Ipv4Route route;
  // NET_LUID of the interface as its 64-bit value; unlike the index, it survives a restart of the system.
  uint64_t luid = 0;
  // The route's own metric, without the interface's.
  uint32_t metric = 0;

  bool operator==(const SystemRoute&) const = default;
};

struct RouteJournal {
  // Added, or being added; the system chooses the interface.
  std::vector<Ipv4Route> added;
  // Removed, or being removed: routes that a restart of the system discards.
  std::vector<SystemRoute> taken;
  // The same for routes that a restart would bring back.
  std::vector<SystemRoute> takenStored;
  // The start of the system that the journal is from (base/boot_identity.h); 0 if unknown.
  uint64_t boot = 0;

  bool operator==(const RouteJournal&) const = default;
  bool IsEmpty() const { return added.empty() && taken.empty() && takenStored.empty(); }
};

// The machine's current routes, as input for the journal.
struct RoutesNow {
  std::vector<SystemRoute> table;
  // Routes that the system has stored for its next start.
  std::vector<Ipv4Route> stored;
  // LUID of the tunnel's adapter; 0 if there is none.
  uint64_t tunnelLuid = 0;
};

// Records that all routes to the route's destination will be removed and the route added. Routes that the session
// itself added, and routes through the tunnel, are not the machine's and are left out. True if anything was new.
bool RecordReplacement(RouteJournal& journal, const GatewayRoute& route, const RoutesNow& now);

// Records that the route was, or will be, added; true if it was not recorded yet. A route with invalid addresses is not
// recorded: the system refuses it, too.
bool RecordAdded(RouteJournal& journal, const GatewayRoute& route);

// Adapts the journal to a restart of the system: added routes are gone, and taken routes that were not stored need not
// come back. Returns the number of those taken routes.
size_t ForgetVolatile(RouteJournal& journal);

// One of the machine's own addresses.
struct LocalAddress {
  uint64_t luid = 0;
  Ipv4Address address;
};

// Whether a taken route can be put back now: an on-link route if its adapter has an address inside it, a route through
// a gateway if the gateway is on the adapter's link. The machine may have changed its network since.
bool CanComeBack(const SystemRoute& route, const std::vector<SystemRoute>& table,
                 const std::vector<LocalAddress>& addresses);

// "203.0.113.7/32 via 192.0.2.77", or "… on the link".
std::string RouteText(const Ipv4Route& route);

// "203.0.113.7,255.255.255.255,192.0.2.77,1": destination, mask, gateway and metric as `route -p ADD` stores them.
// nullopt for anything else, and for a mask with gaps.
std::optional<Ipv4Route> ParsePersistentRoute(std::string_view text);

// The table's rows that the session added.
std::vector<SystemRoute> AddedRows(const RouteJournal& journal, const std::vector<SystemRoute>& table);

// Whether the table has the route, ignoring the metric.
bool HasRoute(const std::vector<SystemRoute>& table, const SystemRoute& route);

// Lines, each ending with a line feed: "v1"; for each route "added", destination, prefix length and next hop, or
// "taken" or "stored" and the same followed by LUID and metric; last "boot" and its number, if known. Newer kinds come
// after older ones, so a reader that does not know them still reads the rest.
std::string FormatRouteJournal(const RouteJournal& journal);

// Reads the text up to the first entry that is not valid; empty for another version.
RouteJournal ParseRouteJournal(std::string_view text);

// What `route -p ADD` has stored: the values below Tcpip\Parameters\PersistentRoutes in the registry, as the page
// "route" of the Windows commands on Microsoft Learn says. Routes stored by `netsh` are in another, undocumented place.
// Empty if they cannot be read.
std::vector<Ipv4Route> ReadPersistentRoutes();

// Call before the routes to the destination are removed and this one is added. False if the existing routes are not
// known: then they must not be removed, and only JournalAdded records this route as the session's.
bool JournalReplacement(const GatewayRoute& route) noexcept;

// The same for a whole list, with one write of the file, which costs a disk flush; call before changing the first of
// them. Each route is journaled again at its turn, which writes only what is new since then.
void JournalReplacements(const std::vector<GatewayRoute>& routes) noexcept;

// The route was added. No change if it was already journaled.
void JournalAdded(const GatewayRoute& route) noexcept;

// Removes what the session added and puts back what it removed, as far as the machine's network is still the same. A
// route that cannot come back is dropped and logged; but if the system itself had stored it, it is kept for later. What
// the system refuses is kept for the next time. Does nothing without a journal.
void RestoreJournaledRoutes() noexcept;

// At the start of the service: the same with the journal that a crash left. After a restart of the system only routes
// that it had stored are put back.
void RecoverJournaledRoutes() noexcept;

}  // namespace moorlak
