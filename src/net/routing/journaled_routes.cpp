#include "net/routing/journaled_routes.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kVersionLine = "v1";
constexpr std::string_view kAddedLine = "added";
constexpr std::string_view kTakenLine = "taken";
constexpr std::string_view kStoredLine = "stored";
constexpr std::string_view kBootLine = "boot";

template <typename Route>
bool Contains(const std::vector<Route>& routes, const Route& route) {
  return std::ranges::find(routes, route) != routes.end();
}

bool IsOurs(const RouteJournal& journal, const SystemRoute& row, uint64_t tunnelLuid) {
  return Contains(journal.added, row.route) || (tunnelLuid != 0 && row.luid == tunnelLuid);
}

bool RecordTaken(RouteJournal& journal, Ipv4Address destination, const RoutesNow& now) {
  bool noted = false;
  for (const SystemRoute& row : now.table) {
    if (row.route.destination.address != destination || IsOurs(journal, row, now.tunnelLuid)) continue;
    if (HasRoute(journal.taken, row) || HasRoute(journal.takenStored, row)) continue;
    const bool isStored = Contains(now.stored, row.route);
    (isStored ? journal.takenStored : journal.taken).push_back(row);
    noted = true;
  }
  return noted;
}

void AddLine(std::string& text, std::string_view line) {
  text += line;
  text += '\n';
}

void AddRoute(std::string& text, const Ipv4Route& route) {
  AddLine(text, Ipv4Text(route.destination.address));
  AddLine(text, std::to_string(route.destination.length));
  AddLine(text, Ipv4Text(route.nextHop));
}

// The next line, without its end; nullopt if no complete line is left.
std::optional<std::string_view> TakeLine(std::string_view& text) {
  const size_t end = text.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return line;
}

std::optional<Ipv4Address> TakeAddress(std::string_view& text) {
  const auto line = TakeLine(text);
  return line ? ParseLooseIpv4(*line) : std::nullopt;
}

void AddTaken(std::string& text, std::string_view kind, const std::vector<SystemRoute>& routes) {
  for (const SystemRoute& route : routes) {
    AddLine(text, kind);
    AddRoute(text, route.route);
    AddLine(text, std::to_string(route.luid));
    AddLine(text, std::to_string(route.metric));
  }
}

std::optional<uint64_t> TakeNumber(std::string_view& text, uint64_t most) {
  const auto line = TakeLine(text);
  return line ? ParseDecimal(*line, most) : std::nullopt;
}

std::optional<Ipv4Route> TakeAdded(std::string_view& text) {
  const auto destination = TakeAddress(text);
  const auto prefixLength = TakeNumber(text, kIpv4Bits);
  const auto nextHop = TakeAddress(text);
  if (!destination || !prefixLength || !nextHop) return std::nullopt;
  return Ipv4Route{{*destination, static_cast<uint32_t>(*prefixLength)}, *nextHop};
}

std::optional<SystemRoute> TakeTaken(std::string_view& text) {
  const auto route = TakeAdded(text);
  const auto luid = TakeNumber(text, std::numeric_limits<uint64_t>::max());
  const auto metric = TakeNumber(text, std::numeric_limits<uint32_t>::max());
  if (!route || !luid || !metric) return std::nullopt;
  return SystemRoute{*route, *luid, static_cast<uint32_t>(*metric)};
}

template <typename Route>
bool Append(std::vector<Route>& routes, const std::optional<Route>& route) {
  if (route) routes.push_back(*route);
  return route.has_value();
}

bool TakeBoot(std::string_view& text, uint64_t& boot) {
  const auto number = TakeNumber(text, std::numeric_limits<uint64_t>::max());
  boot = number.value_or(0);
  return number.has_value();
}

// False if the entry is unknown or malformed.
bool TakeEntry(std::string_view kind, std::string_view& text, RouteJournal& journal) {
  if (kind == kAddedLine) return Append(journal.added, TakeAdded(text));
  if (kind == kTakenLine) return Append(journal.taken, TakeTaken(text));
  if (kind == kStoredLine) return Append(journal.takenStored, TakeTaken(text));
  return kind == kBootLine && TakeBoot(text, journal.boot);
}

}  // namespace

std::optional<Ipv4Route> ParsePersistentRoute(std::string_view text) {
  std::array<std::string_view, 3> fields;
  for (std::string_view& field : fields) {
    const size_t comma = text.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    field = text.substr(0, comma);
    text.remove_prefix(comma + 1);
  }
  const auto destination = ParseLooseIpv4(fields[0]);
  const auto mask = ParseLooseIpv4(fields[1]);
  const auto nextHop = ParseLooseIpv4(fields[2]);
  const auto length = mask ? LengthOfMask(*mask) : std::nullopt;
  if (!destination || !length || !nextHop) return std::nullopt;
  return Ipv4Route{{*destination, *length}, *nextHop};
}

bool RecordReplacement(RouteJournal& journal, const GatewayRoute& route, const RoutesNow& now) {
  const auto destination = ParseLooseIpv4(route.destination);
  const bool takes = destination && RecordTaken(journal, *destination, now);
  return RecordAdded(journal, route) || takes;
}

bool RecordAdded(RouteJournal& journal, const GatewayRoute& route) {
  const auto destination = ParseLooseIpv4(route.destination);
  const auto gateway = ParseLooseIpv4(route.gateway);
  if (!destination || !gateway) return false;
  const Ipv4Route added{{*destination, route.prefixLength}, *gateway};
  if (Contains(journal.added, added)) return false;
  journal.added.push_back(added);
  return true;
}

size_t ForgetVolatile(RouteJournal& journal) {
  const size_t forgotten = journal.taken.size();
  journal.added.clear();
  journal.taken.clear();
  return forgotten;
}

bool CanComeBack(const SystemRoute& route, const std::vector<SystemRoute>& table,
                 const std::vector<LocalAddress>& addresses) {
  if (route.route.IsOnLink()) {
    return std::ranges::any_of(addresses, [&](const LocalAddress& own) {
      return own.luid == route.luid && route.route.destination.Contains(own.address);
    });
  }
  return std::ranges::any_of(table, [&](const SystemRoute& row) {
    return row.route.IsOnLink() && row.luid == route.luid && row.route.destination.Contains(route.route.nextHop);
  });
}

std::string RouteText(const Ipv4Route& route) {
  const std::string way = route.IsOnLink() ? " on the link" : " via " + Ipv4Text(route.nextHop);
  return Ipv4Text(route.destination.address) + "/" + std::to_string(route.destination.length) + way;
}

std::vector<SystemRoute> AddedRows(const RouteJournal& journal, const std::vector<SystemRoute>& table) {
  std::vector<SystemRoute> rows;
  for (const SystemRoute& row : table) {
    if (Contains(journal.added, row.route)) rows.push_back(row);
  }
  return rows;
}

bool HasRoute(const std::vector<SystemRoute>& table, const SystemRoute& route) {
  return std::ranges::any_of(table, [&](SystemRoute row) {
    row.metric = route.metric;
    return row == route;
  });
}

std::string FormatRouteJournal(const RouteJournal& journal) {
  std::string text;
  AddLine(text, kVersionLine);
  for (const Ipv4Route& route : journal.added) {
    AddLine(text, kAddedLine);
    AddRoute(text, route);
  }
  AddTaken(text, kTakenLine, journal.taken);
  AddTaken(text, kStoredLine, journal.takenStored);
  if (journal.boot == 0) return text;
  AddLine(text, kBootLine);
  AddLine(text, std::to_string(journal.boot));
  return text;
}

RouteJournal ParseRouteJournal(std::string_view text) {
  RouteJournal journal;
  if (TakeLine(text) != kVersionLine) return journal;
  while (const auto kind = TakeLine(text)) {
    if (!TakeEntry(*kind, text, journal)) break;
  }
  return journal;
}

}  // namespace moorlak
