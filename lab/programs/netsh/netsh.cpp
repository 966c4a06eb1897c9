#include "programs/netsh/netsh.h"

#include "programs/console/adapters.h"
#include "programs/console/text.h"
#include "programs/netsh/grammar.h"
#include "programs/netsh/operations.h"

namespace moorlak::lab {
namespace {

constexpr char kNoSuchInterface[] = "The filename, directory name, or volume label syntax is incorrect.\r\n\r\n";

Adapter* FindAdapterNumbered(MachineState& state, const std::string& text, bool ipv6) {
  const std::optional<uint32_t> ifIndex = ParseNumber(text, 1, UINT32_MAX);
  for (Adapter& adapter : state.adapters) {
    if (ifIndex && ActiveSettings(adapter, ipv6).ifIndex == *ifIndex) return &adapter;
  }
  return nullptr;
}

}  // namespace

Outcome NetshDone() {
  return {0, "\r\n", false};
}

Outcome NetshRefused(const std::string& message) {
  return {1, message, false};
}

NetshTarget FindNetshTarget(MachineState& state, const std::string& name, bool ipv6) {
  Adapter* adapter = FindAdapterNamed(state, name);
  if (adapter == nullptr) adapter = FindAdapterNumbered(state, name, ipv6);
  if (adapter == nullptr) return {nullptr, kNoSuchInterface};
  if (!adapter->enabled || !ActiveSettings(*adapter, ipv6).bound) return {nullptr, kElementNotFound};
  return {adapter, ""};
}

Outcome RunNetsh(MachineState& state, const Words& words) {
  const NetshParse parse = ParseNetsh(words);
  if (!parse.command) return {1, parse.complaint, true};
  const NetshCommand& command = *parse.command;
  switch (command.operation) {
    case NetshOperation::EnableInterface:
      return EnableInterface(state, command);
    case NetshOperation::SetAddress:
      return SetAddress(state, command);
    case NetshOperation::SetInterface:
      return SetInterface(state, command);
    case NetshOperation::AddRoute:
      return AddRoute(state, command);
    case NetshOperation::DeleteRoute:
      return DeleteRoute(state, command);
    case NetshOperation::SetDns:
      return SetDns(state, command);
    case NetshOperation::AddDns:
      return AddDns(state, command);
    case NetshOperation::DeleteDns:
      return DeleteDns(state, command);
    case NetshOperation::AddFirewallRule:
      return AddFirewallRule(state, command);
    case NetshOperation::DeleteFirewallRule:
      return DeleteFirewallRule(state, command);
  }
  return {1, "", true};
}

}  // namespace moorlak::lab
