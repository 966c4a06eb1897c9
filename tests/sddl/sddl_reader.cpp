#include "sddl/sddl_reader.h"

#include <array>
#include <charconv>
#include <string>
#include <utility>

namespace moorlak {
namespace {

using Pair = std::pair<std::string_view, std::string_view>;
using RightsPair = std::pair<std::string_view, uint32_t>;

constexpr Pair kAccounts[] = {
    {"SY", "S-1-5-18"},     {"BA", "S-1-5-32-544"}, {"BU", "S-1-5-32-545"}, {"WD", "S-1-1-0"},  {"AU", "S-1-5-11"},
    {"IU", "S-1-5-4"},      {"OW", "S-1-3-4"},      {"CO", "S-1-3-0"},      {"LS", "S-1-5-19"}, {"NS", "S-1-5-20"},
    {"BG", "S-1-5-32-546"}, {"PU", "S-1-5-32-547"}, {"AC", "S-1-15-2-1"},   {"AN", "S-1-5-7"},
};

constexpr RightsPair kRights[] = {
    {"CC", 0x1},      {"DC", 0x2},        {"LC", 0x4},        {"SW", 0x8},        {"RP", 0x10},       {"WP", 0x20},
    {"DT", 0x40},     {"LO", 0x80},       {"CR", 0x100},      {"SD", 0x10000},    {"RC", 0x20000},    {"WD", 0x40000},
    {"WO", 0x80000},  {"GA", 0x10000000}, {"GX", 0x20000000}, {"GW", 0x40000000}, {"GR", 0x80000000}, {"FA", 0x1F01FF},
    {"FR", 0x120089}, {"FW", 0x120116},   {"FX", 0x1200A0},
};

struct Cursor {
  std::string_view rest;

  bool Take(std::string_view beginning) {
    if (!rest.starts_with(beginning)) return false;
    rest.remove_prefix(beginning.size());
    return true;
  }
  // The text up to `stop`, which is consumed, too.
  std::optional<std::string_view> TakeTo(char stop) {
    const size_t end = rest.find(stop);
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return taken;
  }
};

// A SID ("S-1-…") or a two-letter account. Empty for unknown letters, nullopt if it is neither.
std::optional<std::string> TakeAccount(Cursor& cursor) {
  if (cursor.rest.starts_with("S-1-")) {
    const size_t end = std::min(cursor.rest.find_first_not_of("S-0123456789"), cursor.rest.size());
    std::string sid(cursor.rest.substr(0, end));
    cursor.rest.remove_prefix(end);
    return sid;
  }
  if (cursor.rest.size() < 2) return std::nullopt;
  const std::string_view letters = cursor.rest.substr(0, 2);
  cursor.rest.remove_prefix(2);
  for (const Pair& account : kAccounts) {
    if (account.first == letters) return std::string(account.second);
  }
  return std::string();
}

std::optional<uint32_t> ReadNumber(std::string_view text, int base) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<uint32_t> ReadRights(std::string_view text) {
  if (text.starts_with("0x")) return ReadNumber(text.substr(2), 16);
  if (!text.empty() && text[0] >= '0' && text[0] <= '9') return ReadNumber(text, 10);
  uint32_t rights = 0;
  for (; text.size() >= 2; text.remove_prefix(2)) {
    bool known = false;
    for (const RightsPair& right : kRights) {
      if (right.first != text.substr(0, 2)) continue;
      rights |= right.second;
      known = true;
    }
    if (!known) return std::nullopt;
  }
  return text.empty() ? std::optional(rights) : std::nullopt;
}

bool HasFlag(std::string_view flags, std::string_view wanted) {
  for (; flags.size() >= 2; flags.remove_prefix(2)) {
    if (flags.substr(0, 2) == wanted) return true;
  }
  return false;
}

// "type;flags;rights;object;inherited object;account", without the parentheses.
std::optional<AccessEntry> ReadEntry(std::string_view text) {
  Cursor cursor{text};
  std::array<std::string_view, 5> fields;
  for (std::string_view& field : fields) {
    const auto taken = cursor.TakeTo(';');
    if (!taken) return std::nullopt;
    field = *taken;
  }
  const auto rights = ReadRights(fields[2]);
  const auto account = TakeAccount(cursor);
  if (!rights || !account) return std::nullopt;
  AccessEntry entry;
  entry.grants = fields[0] != "D" && fields[0] != "OD" && fields[0] != "XD";
  entry.inheritOnly = HasFlag(fields[1], "IO");
  entry.rights = *rights;
  // Only "A" and "D" entries end with the account; in other kinds the account means something else.
  if ((fields[0] == "A" || fields[0] == "D") && cursor.rest.empty()) entry.sid = *account;
  return entry;
}

// The text up to the parenthesis that closes the one already consumed, which is consumed, too. Conditions have their
// own parentheses.
std::optional<std::string_view> TakeToClosing(Cursor& cursor) {
  size_t depth = 1;
  for (size_t i = 0; i < cursor.rest.size(); ++i) {
    depth += cursor.rest[i] == '(';
    depth -= cursor.rest[i] == ')';
    if (depth != 0) continue;
    const std::string_view taken = cursor.rest.substr(0, i);
    cursor.rest.remove_prefix(i + 1);
    return taken;
  }
  return std::nullopt;
}

bool ReadList(Cursor& cursor, ObjectFacts& facts) {
  facts.hasList = !cursor.rest.starts_with("NO_ACCESS_CONTROL");
  cursor.rest.remove_prefix(std::min(cursor.rest.find('('), cursor.rest.size()));
  while (cursor.Take("(")) {
    const auto text = TakeToClosing(cursor);
    const auto entry = text ? ReadEntry(*text) : std::nullopt;
    if (!entry) return false;
    facts.entries.push_back(*entry);
  }
  return cursor.rest.empty();
}

}  // namespace

std::optional<ObjectFacts> ReadSddl(std::string_view text) {
  Cursor cursor{text};
  ObjectFacts facts;
  facts.links = 1;
  if (cursor.Take("O:")) {
    auto owner = TakeAccount(cursor);
    if (!owner) return std::nullopt;
    facts.owner = std::move(*owner);
  }
  if (cursor.Take("G:") && !TakeAccount(cursor)) return std::nullopt;
  if (cursor.rest.empty()) return facts;
  if (!cursor.Take("D:") || !ReadList(cursor, facts)) return std::nullopt;
  return facts;
}

}  // namespace moorlak
