// The firewall rule that opens the local proxy to the local network, as commands. Its name is the only handle to it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moorlak {

// "1080,8080"; empty for no ports.
std::string JoinPorts(const std::vector<uint32_t>& ports);

// Command lines for RunHiddenCommand. The ports are given joined.
std::string DeleteSharingRuleCommand();
std::string AddSharingRuleCommand(const std::string& joinedPorts);

}  // namespace moorlak
