#include "programs/console/ip_text.h"
#include "programs/console/text.h"
#include "programs/route/route.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kHighestMetric = 9999;
constexpr char kUsage[] =
    "\r\nManipulates network routing tables.\r\n\r\n"
    "ROUTE [-f] [-p] [-4|-6] command [destination]\r\n"
    "                  [MASK netmask]  [gateway] [METRIC metric]  [IF interface]\r\n\r\n";

bool EnterOption(RouteCommand& command, const std::string& word) {
  if (word == "-4") return true;
  if (!EqualsIgnoringCase(word, "-p")) return false;
  command.persistent = true;
  return true;
}

// Sets a keyword's value and returns the complaint about it, empty if there is none. `known`: the word is a keyword.
std::string EnterKeyword(RouteCommand& command, const std::string& keyword, const std::string& value, bool& known) {
  known = true;
  if (EqualsIgnoringCase(keyword, "mask")) {
    if (command.mask) return kUsage;
    command.mask = ParseIpv4(value);
    return command.mask ? "" : "route: bad mask address " + value + "\r\n";
  }
  if (EqualsIgnoringCase(keyword, "metric")) {
    if (command.metric) return kUsage;
    command.metric = ParseNumber(value, 1, kHighestMetric);
    return command.metric ? "" : "route: bad metric " + value + "\r\n";
  }
  if (EqualsIgnoringCase(keyword, "if")) {
    if (command.ifIndex) return kUsage;
    command.ifIndex = ParseNumber(value, 1, UINT32_MAX);
    return command.ifIndex ? "" : "route: bad interface number " + value + "\r\n";
  }
  known = false;
  return "";
}

std::string EnterGateway(RouteCommand& command, const std::string& word) {
  if (command.gateway) return kUsage;
  command.gateway = ParseIpv4(word);
  return command.gateway ? "" : "route: bad gateway address " + word + "\r\n";
}

// Reads the words after the destination.
std::string EnterRest(RouteCommand& command, const Words& words, size_t at) {
  while (at < words.size()) {
    bool known = false;
    const bool last = at + 1 == words.size();
    std::string complaint = EnterKeyword(command, words[at], last ? "" : words[at + 1], known);
    if (!known) complaint = EnterGateway(command, words[at]);
    if (!complaint.empty()) return complaint;
    at += known ? 2 : 1;
  }
  return "";
}

}  // namespace

RouteParse ParseRoute(const Words& words) {
  RouteCommand command;
  size_t at = 0;
  while (at < words.size() && words[at].starts_with('-')) {
    if (!EnterOption(command, words[at++])) return {std::nullopt, kUsage};
  }
  if (words.size() < at + 2) return {std::nullopt, kUsage};
  command.add = EqualsIgnoringCase(words[at], "add");
  if (!command.add && !EqualsIgnoringCase(words[at], "delete")) return {std::nullopt, kUsage};
  const std::optional<uint32_t> destination = ParseIpv4(words[at + 1]);
  if (!destination) return {std::nullopt, "route: bad destination address " + words[at + 1] + "\r\n"};
  command.destination = *destination;
  if (std::string complaint = EnterRest(command, words, at + 2); !complaint.empty()) return {std::nullopt, complaint};
  if (command.add && !command.gateway) return {std::nullopt, kUsage};
  if (!command.add && command.persistent) return {std::nullopt, kUsage};
  return {command, ""};
}

}  // namespace moorlak::lab
