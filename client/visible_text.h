// Text of unknown origin, made safe to print: a reply may come from a program that squats the pipe's name, and every
// user may append to the tunnel log.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// Well-formed UTF-8 stays as it is; bytes that are not become \xNN, control characters \xNN, and the characters of
// Unicode that reorder or break a line \u{NNNN}. A tab stays.
std::string VisibleText(std::string_view text);

}  // namespace moorlak
