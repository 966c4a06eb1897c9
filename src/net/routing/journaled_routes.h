// What a session does to the machine's routes, and its form in the recovery file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "net/routing/route_plan.h"

namespace moorlak {

// A route of the machine's, as the system's newer table lists it. Addresses are numbers in host order.
struct SystemRoute {
  uint32_t destination = 0;
  uint32_t prefixLength = 0;
  // 0 for a route on the link.
  uint32_t nextHop = 0;
  // NET_LUID of the interface as its 64-bit value: it stays over a restart of the system, unlike the index.
  uint64_t luid = 0;
  // The route's alone; the interface's metric comes on top.
  uint32_t metric = 0;

  bool operator==(const SystemRoute&) const = default;
};

// A route through a gateway, with the interface left to the system.
struct AddedRoute {
  uint32_t destination = 0;
  uint32_t prefixLength = 0;
  uint32_t nextHop = 0;

  bool operator==(const AddedRoute&) const = default;
};

struct RouteJournal {
  // Added, or about to be.
  std::vector<AddedRoute> added;
  // Taken away, or about to be: routes that a restart of the system forgets.
  std::vector<SystemRoute> taken;
  // The same of routes that it would have brought back.
  std::vector<SystemRoute> takenStored;
  // Which start of the system the journal is of (base/boot_identity.h); 0 when that is not known.
  uint64_t boot = 0;

  bool operator==(const RouteJournal&) const = default;
  bool IsEmpty() const { return added.empty() && taken.empty() && takenStored.empty(); }
};

// The machine's routes, as the journal looks at them.
struct RoutesNow {
  std::vector<SystemRoute> table;
  // What the system has stored for its next start.
  std::vector<AddedRoute> stored;
  // Of the tunnel's adapter; 0 when there is none.
  uint64_t tunnelLuid = 0;
};

// Notes that everything that leads to the route's destination is about to be removed and the route added. What the
// session has added itself, and what leads through the tunnel, is not the machine's. True when there was anything new
// to note.
bool NoteReplacement(RouteJournal& journal, const GatewayRoute& route, const RoutesNow& now);

// Notes that the route was added, or is about to be; true when that is new. A route whose texts are no addresses or
// whose mask has gaps is not noted: the system refuses it, too.
bool NoteAdded(RouteJournal& journal, const GatewayRoute& route);

// What a restart of the system has made of the journal: nothing added is left, and what it forgets itself was not to be
// put back. Answers how many taken routes that were.
size_t ForgetVolatile(RouteJournal& journal);

// An address of the machine's own.
struct LocalAddress {
  uint64_t luid = 0;
  uint32_t address = 0;
};

// Whether a taken route can be put back as the machine is now: a route on the link where its adapter has an address
// inside it, one through a gateway where that is on the adapter's link. The machine may have changed its network since.
bool CanComeBack(const SystemRoute& route, const std::vector<SystemRoute>& table,
                 const std::vector<LocalAddress>& addresses);

// "203.0.113.7/32 via 192.0.2.77", or "… on the link".
std::string RouteText(const SystemRoute& route);

// The number of a dotted quad.
std::optional<uint32_t> AddressNumber(std::string_view text);

// "203.0.113.7,255.255.255.255,192.0.2.77,1": destination, mask, gateway and metric as `route -p ADD` stores them.
std::optional<AddedRoute> ParsePersistentRoute(std::string_view text);

// The rows of the table that the session has added.
std::vector<SystemRoute> AddedRows(const RouteJournal& journal, const std::vector<SystemRoute>& table);

// Whether the table has the route; the metric does not tell routes apart.
bool HasRoute(const std::vector<SystemRoute>& table, const SystemRoute& route);

// Lines, each ended by a line feed: "v1", then for each route "added", destination, prefix length and next hop, or
// "taken" or "stored" and the same with LUID and metric behind them; last "boot" and its number, where it is known.
// What is newer stands behind what is older: a reader that does not know it still reads the rest.
std::string FormatRouteJournal(const RouteJournal& journal);

// What the text tells up to the first thing that it cannot mean; empty for another version.
RouteJournal ParseRouteJournal(std::string_view text);

}  // namespace moorlak
