// The routing rules that this program adds before a configuration's own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/bypass_executables.h"

namespace moorlak {

// Rules in this order: the API; direct for the server, the direct hosts, the bypassing executables and the name
// servers; everything else to the outbound "proxy". They are inserted into the text's "routing" section, which is
// created if missing. False if nothing was inserted: nothing has to stay out of the tunnel, or there is no place for
// the rules.
bool InjectRoutingRules(std::string& text, std::string_view serverAddress, const std::vector<std::string>& directHosts,
                        const std::vector<std::string>& blockedApps, const std::vector<std::string>& dnsList,
                        const ListExecutables& listExecutables);

// The end of everything that InjectRoutingRules looks at after the section's key; kNotFound if there is nothing.
size_t EndOfRulesHead(std::string_view text, size_t section);

}  // namespace moorlak
