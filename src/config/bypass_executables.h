// Which executables belong to the applications that are to bypass the tunnel.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// Hands each executable's file name (UTF-8) of a folder to the visitor, until it returns false. The folder is UTF-8,
// without its last separator. A folder that cannot be read has no executables. See config/executable_listing.h.
using ExecutableVisitor = std::function<bool(std::string_view fileName)>;
using ListExecutables = std::function<void(const std::string& folder, const ExecutableVisitor& visit)>;

// Lower-case names, each once, in the order in which they are found: an application's own name or, for a known browser
// or messenger, its group, then at most twelve further executables of its folder. Installers, updaters and crash
// reporters are left out; folders of packaged store applications are not looked at.
std::vector<std::string> CollectBypassExecutables(const std::vector<std::string>& blockedApps,
                                                  const ListExecutables& listExecutables);

}  // namespace moorlak
