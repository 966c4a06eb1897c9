#include "net/routing/journaled_routes.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <optional>

#include "config/text_scan.h"
#include "net/routing/route_rows.h"

namespace moorlak {
namespace {

constexpr std::string_view kVersionLine = "v1";
constexpr std::string_view kAddedLine = "added";
constexpr std::string_view kTakenLine = "taken";
constexpr uint32_t kAddressBits = 32;

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

std::optional<AddedRoute> ToAdded(const GatewayRoute& route) {
  const auto destination = AddressNumber(route.destination);
  const auto mask = AddressNumber(route.mask);
  const auto nextHop = AddressNumber(route.gateway);
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

bool NoteTaken(RouteJournal& journal, uint32_t destination, const std::vector<SystemRoute>& table,
               uint64_t tunnelLuid) {
  const size_t before = journal.taken.size();
  for (const SystemRoute& row : table) {
    const bool isOurs = Contains(journal.added, WithoutInterface(row)) || (tunnelLuid != 0 && row.luid == tunnelLuid);
    if (row.destination == destination && !isOurs && !HasRoute(journal.taken, row)) journal.taken.push_back(row);
  }
  return journal.taken.size() != before;
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

// The next line, without its end; nothing where the text has no whole line any more.
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

}  // namespace

bool NoteReplacement(RouteJournal& journal, const GatewayRoute& route, const std::vector<SystemRoute>& table,
                     uint64_t tunnelLuid) {
  const auto destination = AddressNumber(route.destination);
  bool noted = destination && NoteTaken(journal, *destination, table, tunnelLuid);
  const auto added = ToAdded(route);
  if (added && !Contains(journal.added, *added)) {
    journal.added.push_back(*added);
    noted = true;
  }
  return noted;
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
  for (const SystemRoute& route : journal.taken) {
    AddLine(text, kTakenLine);
    AddPrefix(text, route.destination, route.prefixLength, route.nextHop);
    AddLine(text, std::to_string(route.luid));
    AddLine(text, std::to_string(route.metric));
  }
  return text;
}

RouteJournal ParseRouteJournal(std::string_view text) {
  RouteJournal journal;
  if (TakeLine(text) != kVersionLine) return journal;
  while (const auto kind = TakeLine(text)) {
    const bool understood = *kind == kAddedLine   ? Append(journal.added, TakeAdded(text))
                            : *kind == kTakenLine ? Append(journal.taken, TakeTaken(text))
                                                  : false;
    if (!understood) break;
  }
  return journal;
}

}  // namespace moorlak
