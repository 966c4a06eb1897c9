#include "programs/netsh/grammar.h"

#include <algorithm>

#include "programs/console/text.h"
#include "programs/netsh/values.h"

namespace moorlak::lab {
namespace {

constexpr char kBadSyntax[] =
    "The syntax supplied for this command is not valid. Check help for the correct syntax.\r\n\r\n";

struct CommandSpec {
  NetshOperation operation;
  std::vector<std::string_view> path;
  std::vector<Tag> tags;
};

using enum ValueKind;

constexpr Tag kStore{"store", Choice, false, "active|persistent"};
// Without "no" netsh queries the server, and the lab has none.
constexpr Tag kValidate{"validate", Choice, true, "no"};
constexpr Tag kMayValidate{"validate", Choice, false, "yes|no"};

const std::vector<CommandSpec>& Specs() {
  static const std::vector<CommandSpec> specs = {
      {NetshOperation::EnableInterface,
       {"interface", "set", "interface"},
       {{"name", Text, true, ""}, {"admin", Choice, true, "enabled"}}},
      {NetshOperation::SetAddress,
       {"interface", "ipv4", "set", "address"},
       {{"name", Text, true, ""},
        {"source", Choice, true, "static"},
        {"address", InterfaceAddress, true, ""},
        {"mask", Mask, false, ""},
        {"gateway", AddressOrChoice, false, "none"},
        {"gwmetric", Metric, false, ""},
        kStore}},
      {NetshOperation::SetInterface,
       {"interface", "ip", "set", "interface"},
       {{"interface", Text, true, ""}, {"metric", Metric, true, ""}, kStore}},
      {NetshOperation::AddRoute,
       {"interface", "ip", "add", "route"},
       {{"prefix", Prefix, true, ""},
        {"interface", Text, true, ""},
        {"nexthop", Address, false, ""},
        {"metric", Metric, false, ""},
        kStore}},
      {NetshOperation::DeleteRoute,
       {"interface", "ip", "delete", "route"},
       {{"prefix", Prefix, true, ""}, {"interface", Text, true, ""}, {"nexthop", Address, false, ""}, kStore}},
      {NetshOperation::SetDns,
       {"interface", "ip", "set", "dnsservers"},
       {{"name", Text, true, ""},
        {"source", Choice, true, "dhcp|static"},
        {"address", AddressOrChoice, false, "none"},
        {"register", Choice, false, "none|primary|both"},
        kMayValidate}},
      {NetshOperation::AddDns,
       {"interface", "ip", "add", "dnsservers"},
       {{"name", Text, true, ""}, {"address", Address, true, ""}, {"index", Position, false, ""}, kValidate}},
      {NetshOperation::DeleteDns,
       {"interface", "ip", "delete", "dnsservers"},
       {{"name", Text, true, ""}, {"address", AddressOrChoice, true, "all"}, kMayValidate}},
      {NetshOperation::AddFirewallRule,
       {"advfirewall", "firewall", "add", "rule"},
       {{"name", Text, true, ""},
        {"dir", Choice, true, "in|out"},
        {"action", Choice, true, "allow|block"},
        {"protocol", Protocol, false, "any|tcp|udp|icmpv4|icmpv6"},
        {"localport", Ports, false, ""},
        {"profile", ChoiceList, false, "public|private|domain|any"},
        {"remoteip", RemoteAddresses, false, "any|localsubnet|dns|dhcp|wins|defaultgateway"}}},
      {NetshOperation::DeleteFirewallRule, {"advfirewall", "firewall", "delete", "rule"}, {{"name", Text, true, ""}}},
  };
  return specs;
}

// Whether a word between "interface" and the verb means the family. "ip" is the same as "ipv4".
bool IsFamilyWord(std::string_view word, bool ipv6) {
  if (EqualsIgnoringCase(word, "ip")) return !ipv6;
  return IsAbbreviationOf(word, ipv6 ? "ipv6" : "ipv4") && word.size() > 3;
}

// The second word of a path says which families the command takes: "ip" both, "ipv4" only IPv4.
bool IsWordOf(const CommandSpec& spec, size_t place, std::string_view word, bool& ipv6) {
  const std::string_view expected = spec.path[place];
  if (expected != "ip" && expected != "ipv4") return IsAbbreviationOf(word, expected);
  ipv6 = IsFamilyWord(word, true) && expected == "ip";
  return ipv6 || IsFamilyWord(word, false);
}

bool Names(const CommandSpec& spec, const Words& words, bool& ipv6) {
  if (words.size() < spec.path.size()) return false;
  for (size_t i = 0; i < spec.path.size(); ++i) {
    if (!IsWordOf(spec, i, words[i], ipv6)) return false;
  }
  return true;
}

// The command that the words name; null if there is none or more than one.
const CommandSpec* FindSpec(const Words& words, bool& ipv6) {
  const CommandSpec* found = nullptr;
  for (const CommandSpec& spec : Specs()) {
    bool family = false;
    if (!Names(spec, words, family)) continue;
    if (found != nullptr) return nullptr;
    found = &spec;
    ipv6 = family;
  }
  return found;
}

bool NeedsTags(const CommandSpec& spec) {
  return spec.path.front() == "advfirewall";
}

// Returns the tag's place in the command's list, and the value.
std::optional<std::pair<size_t, std::string>> Assign(const CommandSpec& spec, size_t place, const std::string& word) {
  const size_t equals = word.find('=');
  if (equals == std::string::npos) {
    if (NeedsTags(spec) || place >= spec.tags.size()) return std::nullopt;
    return std::pair(place, word);
  }
  const std::string name = word.substr(0, equals);
  std::optional<size_t> found;
  for (size_t i = 0; i < spec.tags.size(); ++i) {
    if (EqualsIgnoringCase(name, spec.tags[i].name)) return std::pair(i, word.substr(equals + 1));
    if (NeedsTags(spec) || !IsAbbreviationOf(name, spec.tags[i].name)) continue;
    if (found) return std::nullopt;
    found = i;
  }
  if (!found) return std::nullopt;
  return std::pair(*found, word.substr(equals + 1));
}

bool EnterWord(const CommandSpec& spec, size_t place, const std::string& word, NetshCommand& command) {
  const auto assigned = Assign(spec, place, word);
  if (!assigned) return false;
  const Tag& tag = spec.tags[assigned->first];
  const std::string name(tag.name);
  const std::string& value = assigned->second;
  if (!IsValueOf(tag, value, command.ipv6)) return false;
  command.given.emplace_back(name, value);
  const std::string plain = tag.kind == Choice ? ChosenWord(tag.choices, value) : value;
  return command.values.emplace(name, plain).second;
}

bool HasRequired(const CommandSpec& spec, const NetshCommand& command) {
  return std::ranges::all_of(
      spec.tags, [&](const Tag& tag) { return !tag.required || command.values.contains(std::string(tag.name)); });
}

// Checks rules that involve several tags.
bool AgreesWithItself(const NetshCommand& command) {
  const auto has = [&](const char* tag) { return command.values.contains(tag); };
  switch (command.operation) {
    case NetshOperation::SetAddress:
      return has("mask") != (command.Value("address").find('/') != std::string::npos);
    case NetshOperation::SetDns: {
      const bool isStatic = command.Value("source") == "static";
      // As for adding a server: the lab has none to query.
      return isStatic == has("address") && (!isStatic || command.Value("validate") == "no");
    }
    case NetshOperation::AddFirewallRule:
      return !has("localport") || EqualsIgnoringCase(command.Value("protocol"), "tcp") ||
             EqualsIgnoringCase(command.Value("protocol"), "udp");
    default:
      return true;
  }
}

std::string NotFoundText(const Words& words) {
  std::string text = "The following command was not found:";
  for (const std::string& word : words) text += " " + word;
  return text + ".\r\n";
}

}  // namespace

std::string NetshCommand::Value(const std::string& tag, const std::string& otherwise) const {
  const auto value = values.find(tag);
  return value == values.end() ? otherwise : value->second;
}

NetshParse ParseNetsh(const Words& words) {
  NetshCommand command;
  const CommandSpec* spec = FindSpec(words, command.ipv6);
  if (spec == nullptr) return {std::nullopt, NotFoundText(words)};
  command.operation = spec->operation;
  for (size_t i = spec->path.size(); i < words.size(); ++i) {
    if (!EnterWord(*spec, i - spec->path.size(), words[i], command))
      return {std::nullopt, words[i] + " is not an acceptable value here.\r\n" + kBadSyntax};
  }
  if (!HasRequired(*spec, command) || !AgreesWithItself(command)) return {std::nullopt, kBadSyntax};
  return {command, ""};
}

}  // namespace moorlak::lab
