#include "programs/console/text.h"
#include "programs/netsh/operations.h"

namespace moorlak::lab {
namespace {

constexpr char kEveryRule[] = "all";

Outcome Ok(const std::string& before) {
  return {0, before + "Ok.\r\n\r\n", false};
}

}  // namespace

Outcome AddFirewallRule(MachineState& state, const NetshCommand& command) {
  const std::string name = command.Value("name");
  // The word for all rules cannot be the name of one.
  if (EqualsIgnoringCase(name, kEveryRule)) return NetshRefused("A rule cannot be named 'all'.\r\n\r\n");
  FirewallRule rule{name, {}};
  for (const auto& [tag, value] : command.given) {
    if (tag != "name") rule.words.push_back(tag + "=" + value);
  }
  state.firewallRules.push_back(rule);
  return Ok("");
}

Outcome DeleteFirewallRule(MachineState& state, const NetshCommand& command) {
  const std::string name = command.Value("name");
  const size_t removed = std::erase_if(state.firewallRules, [&](const FirewallRule& rule) {
    return EqualsIgnoringCase(name, kEveryRule) || EqualsIgnoringCase(name, rule.name);
  });
  if (removed == 0) return NetshRefused("\r\nNo rules match the specified criteria.\r\n\r\n");
  return Ok("\r\nDeleted " + std::to_string(removed) + " rule(s).\r\n");
}

}  // namespace moorlak::lab
