// The commands for the firewall rule that opens the local proxy to the local network. The rule is identified only by
// its name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "process/command_line.h"

namespace moorlak {

// "1080,8080"; empty for no ports.
std::string JoinPorts(const std::vector<uint32_t>& ports);

// The ports are given joined. Usually there is no rule to delete.
HiddenCommand DeleteSharingRuleCommand();
HiddenCommand AddSharingRuleCommand(const std::string& joinedPorts);

}  // namespace moorlak
