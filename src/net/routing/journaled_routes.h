// What a session does to the machine's routes, and its form in the recovery file.
#pragma once

#include <cstdint>
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
  // Taken away, or about to be.
  std::vector<SystemRoute> taken;

  bool operator==(const RouteJournal&) const = default;
  bool IsEmpty() const { return added.empty() && taken.empty(); }
};

// Notes that everything that leads to the route's destination is about to be removed and the route added. What the
// session has added itself, and what leads through the tunnel (its LUID, 0 when there is none), is not the machine's.
// True when there was anything new to note. A route whose texts are no addresses or whose mask has gaps is not noted as
// added: the system refuses it, too.
bool NoteReplacement(RouteJournal& journal, const GatewayRoute& route, const std::vector<SystemRoute>& table,
                     uint64_t tunnelLuid);

// The rows of the table that the session has added.
std::vector<SystemRoute> AddedRows(const RouteJournal& journal, const std::vector<SystemRoute>& table);

// Whether the table has the route; the metric does not tell routes apart.
bool HasRoute(const std::vector<SystemRoute>& table, const SystemRoute& route);

// Lines, each ended by a line feed: "v1", then for each route "added", destination, prefix length and next hop, or
// "taken" and the same with LUID and metric behind them.
std::string FormatRouteJournal(const RouteJournal& journal);

// What the text tells up to the first thing that it cannot mean; empty for another version.
RouteJournal ParseRouteJournal(std::string_view text);

}  // namespace moorlak
