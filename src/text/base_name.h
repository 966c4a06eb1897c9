// A path's last name.
#pragma once

#include <string_view>

namespace moorlak {

// The part after the last `\` or `/`; the whole path if it has neither.
std::string_view BaseName(std::string_view path);

}  // namespace moorlak
