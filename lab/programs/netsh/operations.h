// What the netsh commands do. They change the active and the stored settings; with "store=active" only the active ones.
#pragma once

#include <string>

#include "programs/console/outcome.h"
#include "programs/netsh/grammar.h"

namespace moorlak::lab {

inline constexpr char kObjectExists[] = "The object already exists.\r\n\r\n";
inline constexpr char kElementNotFound[] = "Element not found.\r\n\r\n";
inline constexpr char kBadParameter[] = "The parameter is incorrect.\r\n\r\n";

Outcome NetshDone();
Outcome NetshRefused(const std::string& message);

// The adapter that a command names, by name or interface index. If it does not exist, is disabled or does not have the
// family bound, what netsh prints instead.
struct NetshTarget {
  Adapter* adapter = nullptr;
  std::string complaint;
};
NetshTarget FindNetshTarget(MachineState& state, const std::string& name, bool ipv6);

Outcome EnableInterface(MachineState& state, const NetshCommand& command);
Outcome SetInterface(MachineState& state, const NetshCommand& command);
Outcome SetAddress(MachineState& state, const NetshCommand& command);
Outcome AddRoute(MachineState& state, const NetshCommand& command);
Outcome DeleteRoute(MachineState& state, const NetshCommand& command);

Outcome SetDns(MachineState& state, const NetshCommand& command);
Outcome AddDns(MachineState& state, const NetshCommand& command);
Outcome DeleteDns(MachineState& state, const NetshCommand& command);

Outcome AddFirewallRule(MachineState& state, const NetshCommand& command);
Outcome DeleteFirewallRule(MachineState& state, const NetshCommand& command);

}  // namespace moorlak::lab
