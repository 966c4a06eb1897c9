// The netsh command lines that the lab knows: a context, a command, and its tags.
//
// A command's words may be abbreviated as long as only one command matches ("ip" is "ipv4"). A value is given as
// "tag=value", where the tag may be abbreviated, too, or without a tag: then its position decides the tag. In
// `advfirewall` every value needs its full tag. Letter case never matters.
// Sources: "Netsh Command Syntax, Contexts, and Formatting", "Netsh commands for Interface (IPv4 and IPv6)" and "Use
// netsh advfirewall firewall" of Microsoft Learn, and the help that netsh itself prints.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "programs/console/outcome.h"

namespace moorlak::lab {

enum class NetshOperation {
  EnableInterface,
  SetAddress,
  SetInterface,
  AddRoute,
  DeleteRoute,
  SetDns,
  AddDns,
  DeleteDns,
  AddFirewallRule,
  DeleteFirewallRule
};

struct NetshCommand {
  NetshOperation operation = NetshOperation::EnableInterface;
  bool ipv6 = false;
  // By the tags' full names; every value has the form that its tag requires.
  std::map<std::string, std::string> values;
  // The values in the order of the command line, unchanged.
  std::vector<std::pair<std::string, std::string>> given;

  // The value, or `otherwise` if it was not given.
  std::string Value(const std::string& tag, const std::string& otherwise = "") const;
};

struct NetshParse {
  std::optional<NetshCommand> command;
  // What netsh prints if it does not understand.
  std::string complaint;
};

NetshParse ParseNetsh(const Words& words);

}  // namespace moorlak::lab
