// Lets other machines on the local network reach the local proxy ports, by a firewall rule that is identified only by
// its name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "process/hidden_command.h"

namespace moorlak {

// "1080,8080"; empty for no ports.
std::string JoinPorts(const std::vector<uint32_t>& ports);

// The ports are given joined. Usually there is no rule to delete.
HiddenCommand DeleteSharingRuleCommand();
HiddenCommand AddSharingRuleCommand(const std::string& joinedPorts);

// Replaces the firewall rule with one for these ports; without ports the rule is only removed. A failure is logged and
// leaves the ports closed.
void OpenProxySharingFirewall(const std::vector<uint32_t>& ports) noexcept;

// Removes the rule, including one of an earlier session. Failed is inconclusive: the rule may not have existed.
CommandOutcome CloseProxySharingFirewall() noexcept;

// The same after a crash, when `netsh` may exceed its time because none of it is in memory yet. Retries while it is
// late, at most five tries in all, for six seconds.
void CloseSharingOfEarlierSession() noexcept;

}  // namespace moorlak
