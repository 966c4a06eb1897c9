// Turns a command into a call of the tunnel controller and a reply.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moorlak {

// Runs the command and replaces reply. Always true: every code has a reply, unknown ones too. An accepted start goes on
// in the background; its outcome shows in later status replies.
bool Dispatch(uint32_t code, std::string_view payload, std::string& reply);

}  // namespace moorlak
