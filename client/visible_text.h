// Makes text of unknown origin safe to print: a reply may come from a program that squats the pipe's name, and any user
// may append to the tunnel log.
#pragma once

#include <string>
#include <string_view>

namespace moorlak::client {

// Well-formed UTF-8 stays as it is, tabs included. Malformed bytes and control characters become \xNN; the Unicode
// characters that reorder or break a line become \u{NNNN}.
std::string VisibleText(std::string_view text);

}  // namespace moorlak::client
