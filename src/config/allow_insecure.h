// The TLS option "allowInsecure", which the engine is not to see.
#pragma once

#include <string>

namespace moorlak {

// The text without any `"allowInsecure": true|false|1|0` member, each removed together with one adjoining comma. Letter
// case is ignored; every other value stays. The end of the value is not looked at, so of 10 the 0 is left.
std::string StripAllowInsecure(std::string text);

}  // namespace moorlak
