// The firewall rule that opens the local proxy to the local network, as commands. Its name is the only handle to it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "process/command_line.h"

namespace moorlak {

// "1080,8080"; empty for no ports.
std::string JoinPorts(const std::vector<uint32_t>& ports);

// The ports are given joined. Deleting a rule that does not exist is the usual case.
HiddenCommand DeleteSharingRuleCommand();
HiddenCommand AddSharingRuleCommand(const std::string& joinedPorts);

}  // namespace moorlak
