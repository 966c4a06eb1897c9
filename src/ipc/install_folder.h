// The rule on who may send commands: programs in the service's folder.
#pragma once

#include <string_view>

namespace moorlak {

// True if the caller's path up to, not including, its last "\" or "/" equals the install folder, both lower-cased
// character by character with towlower. The program never sets a locale, so only A to Z are folded: other letters must
// match exactly. A subfolder does not count; an empty install folder (it could not be found) refuses everyone.
bool IsInInstallFolder(std::wstring_view callerPath, std::wstring_view installFolder);

}  // namespace moorlak
