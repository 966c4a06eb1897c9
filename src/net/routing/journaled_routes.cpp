#include "net/routing/journaled_routes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <optional>

#include "net/routing/route_rows.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kVersionLine = "v1";
constexpr std::string_view kAddedLine = "added";
constexpr std::string_view kTakenLine = "taken";
constexpr std::string_view kStoredLine = "stored";
constexpr std::string_view kBootLine = "boot";
constexpr uint32_t kAddressBits = 32;

std::optional<AddedRoute> ToAdded(std::string_view destinationText, std::string_view maskText,
                                  std::string_view nextHopText) {
  const auto destination = AddressNumber(destinationText);
  const auto mask = AddressNumber(maskText);
  const auto nextHop = AddressNumber(nextHopText);
  if (!destination || !mask || !nextHop) return std::nullopt;
  const auto prefixLength = static_cast<uint32_t>(std::countl_one(*mask));
  if (prefixLength + static_cast<uint32_t>(std::countr_zero(*mask)) != kAddressBits) return std::nullopt;
  return AddedRoute{*destination, prefixLength, *nextHop};
}

AddedRoute WithoutInterface(const SystemRoute& route) {
  return {route.destination, route.prefixLength, route.nextHop};
}

template <typename Route>
bool Contains(const std::vector<Route>& routes, const Route& route) {
  return std::ranges::find(routes, route) != routes.end();
}

bool IsOurs(const RouteJournal& journal, const SystemRoute& row, uint64_t tunnelLuid) {
  return Contains(journal.added, WithoutInterface(row)) || (tunnelLuid != 0 && row.luid == tunnelLuid);
}

bool RecordTaken(RouteJournal& journal, uint32_t destination, const RoutesNow& now) {
  bool noted = false;
  for (const SystemRoute& row : now.table) {
    if (row.destination != destination || IsOurs(journal, row, now.tunnelLuid)) continue;
    if (HasRoute(journal.taken, row) || HasRoute(journal.takenStored, row)) continue;
    const bool isStored = Contains(now.stored, WithoutInterface(row));
    (isStored ? journal.takenStored : journal.taken).push_back(row);
    noted = true;
  }
  return noted;
}

bool IsInside(uint32_t address, const SystemRoute& route) {
  const uint64_t mask = ~uint64_t{0} << (kAddressBits - route.prefixLength);
  return ((address ^ route.destination) & static_cast<uint32_t>(mask)) == 0;
}

bool IsOnLink(const SystemRoute& route) {
  return route.nextHop == 0;
}

void AddLine(std::string& text, std::string_view line) {
  text += line;
  text += '\n';
}

void AddPrefix(std::string& text, uint32_t destination, uint32_t prefixLength, uint32_t nextHop) {
  AddLine(text, DottedQuad(destination));
  AddLine(text, std::to_string(prefixLength));
  AddLine(text, DottedQuad(nextHop));
}

// The next line, without its end; nullopt if no complete line is left.
std::optional<std::string_view> TakeLine(std::string_view& text) {
  const size_t end = text.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return line;
}

std::optional<uint32_t> TakeAddress(std::string_view& text) {
  const auto line = TakeLine(text);
  return line ? AddressNumber(*line) : std::nullopt;
}

void AddTaken(std::string& text, std::string_view kind, const std::vector<SystemRoute>& routes) {
  for (const SystemRoute& route : routes) {
    AddLine(text, kind);
    AddPrefix(text, route.destination, route.prefixLength, route.nextHop);
    AddLine(text, std::to_string(route.luid));
    AddLine(text, std::to_string(route.metric));
  }
}

std::optional<uint64_t> TakeNumber(std::string_view& text, uint64_t most) {
  const auto line = TakeLine(text);
  return line ? ParseDecimal(*line, most) : std::nullopt;
}

std::optional<AddedRoute> TakeAdded(std::string_view& text) {
  const auto destination = TakeAddress(text);
  const auto prefixLength = TakeNumber(text, kAddressBits);
  const auto nextHop = TakeAddress(text);
  if (!destination || !prefixLength || !nextHop) return std::nullopt;
  return AddedRoute{*destination, static_cast<uint32_t>(*prefixLength), *nextHop};
}

std::optional<SystemRoute> TakeTaken(std::string_view& text) {
  const auto route = TakeAdded(text);
  const auto luid = TakeNumber(text, std::numeric_limits<uint64_t>::max());
  const auto metric = TakeNumber(text, std::numeric_limits<uint32_t>::max());
  if (!route || !luid || !metric) return std::nullopt;
  return SystemRoute{route->destination, route->prefixLength, route->nextHop, *luid, static_cast<uint32_t>(*metric)};
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

std::optional<uint32_t> AddressNumber(std::string_view text) {
  uint32_t number = 0;
  for (int group = 0; group < 4; ++group) {
    const size_t dot = group < 3 ? text.find('.') : text.size();
    if (dot == std::string_view::npos) return std::nullopt;
    const auto value = ParseDecimal(text.substr(0, dot), 255);
    if (!value) return std::nullopt;
    number = number << 8 | static_cast<uint32_t>(*value);
    text.remove_prefix(std::min(dot + 1, text.size()));
  }
  return number;
}

std::optional<AddedRoute> ParsePersistentRoute(std::string_view text) {
  std::array<std::string_view, 3> fields;
  for (std::string_view& field : fields) {
    const size_t comma = text.find(',');
    if (comma == std::string_view::npos) return std::nullopt;
    field = text.substr(0, comma);
    text.remove_prefix(comma + 1);
  }
  return ToAdded(fields[0], fields[1], fields[2]);
}

bool RecordReplacement(RouteJournal& journal, const GatewayRoute& route, const RoutesNow& now) {
  const auto destination = AddressNumber(route.destination);
  const bool takes = destination && RecordTaken(journal, *destination, now);
  return RecordAdded(journal, route) || takes;
}

bool RecordAdded(RouteJournal& journal, const GatewayRoute& route) {
  const auto added = ToAdded(route.destination, route.mask, route.gateway);
  if (!added || Contains(journal.added, *added)) return false;
  journal.added.push_back(*added);
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
  if (IsOnLink(route)) {
    return std::ranges::any_of(
        addresses, [&](const LocalAddress& own) { return own.luid == route.luid && IsInside(own.address, route); });
  }
  return std::ranges::any_of(table, [&](const SystemRoute& row) {
    return IsOnLink(row) && row.luid == route.luid && IsInside(route.nextHop, row);
  });
}

std::string RouteText(const SystemRoute& route) {
  const std::string way = IsOnLink(route) ? " on the link" : " via " + DottedQuad(route.nextHop);
  return DottedQuad(route.destination) + "/" + std::to_string(route.prefixLength) + way;
}

std::vector<SystemRoute> AddedRows(const RouteJournal& journal, const std::vector<SystemRoute>& table) {
  std::vector<SystemRoute> rows;
  for (const SystemRoute& row : table) {
    if (Contains(journal.added, WithoutInterface(row))) rows.push_back(row);
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
  for (const AddedRoute& route : journal.added) {
    AddLine(text, kAddedLine);
    AddPrefix(text, route.destination, route.prefixLength, route.nextHop);
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
