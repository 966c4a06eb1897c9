// Removes the TLS option "allowInsecure", which the engine must not get.
#pragma once

#include <string>

namespace moorlak {

// The text without any `"allowInsecure": true|false|1|0` member; each is removed together with one adjacent comma.
// Ignores letter case and keeps every other value. Does not check where the value ends: of 10, the 0 remains.
std::string StripAllowInsecure(std::string text);

}  // namespace moorlak
