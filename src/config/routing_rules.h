// The routing rules that this program puts in front of a configuration's own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/bypass_executables.h"

namespace moorlak {

// Rules in this order: the API, the server, the direct hosts, the bypassing executables and the name servers direct,
// everything else to the outbound "proxy". They go into the text's "routing" section, which is created where it is
// missing. False when nothing was inserted: there is nothing to keep out of the tunnel, or no place for the rules.
bool InjectRoutingRules(std::string& text, std::string_view serverAddress, const std::vector<std::string>& directHosts,
                        const std::vector<std::string>& blockedApps, const std::vector<std::string>& dnsList,
                        const ListExecutables& listExecutables);

// The position behind all that InjectRoutingRules looks at behind the section's key; kNotFound when there is nothing.
size_t EndOfRulesHead(std::string_view text, size_t section);

}  // namespace moorlak
