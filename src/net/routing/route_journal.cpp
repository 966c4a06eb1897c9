#include "net/routing/route_journal.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "text/record_lines.h"

namespace moorlak {
namespace {

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

void AddRoute(std::string& text, const Ipv4Route& route) {
  AddRecordLine(text, Ipv4Text(route.destination.address));
  AddRecordNumber(text, route.destination.length);
  AddRecordLine(text, Ipv4Text(route.nextHop));
}

std::optional<Ipv4Address> TakeAddress(RecordReader& reader) {
  const auto line = reader.Line();
  return line ? ParseLooseIpv4(*line) : std::nullopt;
}

void AddTaken(std::string& text, std::string_view kind, const std::vector<SystemRoute>& routes) {
  for (const SystemRoute& route : routes) {
    AddRecordLine(text, kind);
    AddRoute(text, route.route);
    AddRecordNumber(text, route.luid);
    AddRecordNumber(text, route.metric);
  }
}

std::optional<Ipv4Route> TakeAdded(RecordReader& reader) {
  const auto destination = TakeAddress(reader);
  const auto prefixLength = reader.NumberLine(kIpv4Bits);
  const auto nextHop = TakeAddress(reader);
  if (!destination || !prefixLength || !nextHop) return std::nullopt;
  return Ipv4Route{{*destination, static_cast<uint32_t>(*prefixLength)}, *nextHop};
}

std::optional<SystemRoute> TakeTaken(RecordReader& reader) {
  const auto route = TakeAdded(reader);
  const auto luid = reader.NumberLine(std::numeric_limits<uint64_t>::max());
  const auto metric = reader.NumberLine(std::numeric_limits<uint32_t>::max());
  if (!route || !luid || !metric) return std::nullopt;
  return SystemRoute{*route, *luid, static_cast<uint32_t>(*metric)};
}

template <typename Route>
bool Append(std::vector<Route>& routes, const std::optional<Route>& route) {
  if (route) routes.push_back(*route);
  return route.has_value();
}

bool TakeBoot(RecordReader& reader, uint64_t& boot) {
  const auto number = reader.NumberLine(std::numeric_limits<uint64_t>::max());
  boot = number.value_or(0);
  return number.has_value();
}

// False if the entry is unknown or malformed.
bool TakeEntry(std::string_view kind, RecordReader& reader, RouteJournal& journal) {
  if (kind == kAddedLine) return Append(journal.added, TakeAdded(reader));
  if (kind == kTakenLine) return Append(journal.taken, TakeTaken(reader));
  if (kind == kStoredLine) return Append(journal.takenStored, TakeTaken(reader));
  return kind == kBootLine && TakeBoot(reader, journal.boot);
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
  std::string text = NewRecordText();
  for (const Ipv4Route& route : journal.added) {
    AddRecordLine(text, kAddedLine);
    AddRoute(text, route);
  }
  AddTaken(text, kTakenLine, journal.taken);
  AddTaken(text, kStoredLine, journal.takenStored);
  if (journal.boot == 0) return text;
  AddRecordLine(text, kBootLine);
  AddRecordNumber(text, journal.boot);
  return text;
}

RouteJournal ParseRouteJournal(std::string_view text) {
  RouteJournal journal;
  RecordReader reader(text);
  if (reader.Line() != kRecordVersion) return journal;
  while (const auto kind = reader.Line()) {
    if (!TakeEntry(*kind, reader, journal)) break;
  }
  return journal;
}

}  // namespace moorlak
