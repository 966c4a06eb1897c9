#include "machine/classify.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <stdexcept>

namespace moorlak::lab {
namespace {

uint64_t Number(const std::string& text) {
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) throw std::invalid_argument("no number: " + text);
  return number;
}

std::string Folded(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](char one) { return one >= 'A' && one <= 'Z' ? static_cast<char>(one + 32) : one; });
  return text;
}

bool IsIPv6(const Connection& connection) {
  return connection.remoteAddress.find(':') != std::string::npos;
}

bool IsEqual(const WfpCondition& condition, const Connection& connection) {
  if (condition.field == "ALE_APP_ID") return Folded(condition.value) == Folded(connection.application);
  const uint64_t value = Number(condition.value);
  if (condition.field == "IP_PROTOCOL") return value == connection.protocol;
  if (condition.field == "IP_REMOTE_PORT") return value == connection.remotePort;
  if (condition.field == "IP_LOCAL_INTERFACE") return value == connection.localInterface;
  if (condition.field == "IP_REMOTE_ADDRESS" && !IsIPv6(connection))
    return value == HostOrder(connection.remoteAddress);
  throw std::invalid_argument("no known condition: " + condition.field);
}

bool Holds(const WfpCondition& condition, const Connection& connection) {
  if (condition.match != "equal" && condition.match != "not-equal")
    throw std::invalid_argument("no known match: " + condition.match);
  return IsEqual(condition, connection) == (condition.match == "equal");
}

// Conditions on the same field are alternatives, conditions on different fields must all hold ("Filter Conditions").
// Two not-equal conditions on one field would be alternatives as well.
bool Matches(const WfpFilter& filter, const Connection& connection) {
  const char* layer = IsIPv6(connection) ? "ALE_AUTH_CONNECT_V6" : "ALE_AUTH_CONNECT_V4";
  if (filter.layer != layer) return false;
  std::map<std::string, bool> fields;
  for (const WfpCondition& condition : filter.conditions) {
    bool& holds = fields[condition.field];
    holds = Holds(condition, connection) || holds;
  }
  return std::ranges::all_of(fields, [](const auto& field) { return field.second; });
}

bool Blocks(const WfpFilter& filter) {
  if (filter.action != "permit" && filter.action != "block")
    throw std::invalid_argument("no known action: " + filter.action);
  return filter.action == "block";
}

}  // namespace

uint32_t HostOrder(const std::string& dottedAddress) {
  uint32_t address = 0;
  size_t begin = 0;
  for (int part = 0; part < 4; ++part) {
    const size_t dot = part < 3 ? dottedAddress.find('.', begin) : dottedAddress.size();
    if (dot == std::string::npos) throw std::invalid_argument("no address: " + dottedAddress);
    const uint64_t number = Number(dottedAddress.substr(begin, dot - begin));
    if (number > 255) throw std::invalid_argument("no address: " + dottedAddress);
    address = address << 8 | static_cast<uint32_t>(number);
    begin = dot + 1;
  }
  return address;
}

Verdict Classify(const Wfp& wfp, const Connection& connection) {
  // The heaviest matching filter of each sublayer. Of two with the same weight the one added first decides. The
  // platform leaves that open, so a filter set must not depend on it.
  std::map<std::string, const WfpFilter*> deciding;
  for (const WfpFilter& filter : wfp.filters) {
    if (!Matches(filter, connection)) continue;
    const WfpFilter*& best = deciding[filter.sublayer];
    if (best == nullptr || filter.weight > best->weight) best = &filter;
  }
  // A block is final in any sublayer, so the order of the sublayers cannot change the verdict.
  const bool blocked = std::ranges::any_of(deciding, [](const auto& one) { return Blocks(*one.second); });
  return blocked ? Verdict::Block : Verdict::Permit;
}

}  // namespace moorlak::lab
