// Turns a command into a call of the tunnel controller and a reply.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moorlak {

// Runs the command and replaces reply. Always true: every code has a reply, even an unknown one. An accepted start
// continues in the background; later status replies show its outcome.
bool Dispatch(uint32_t code, std::string_view payload, std::string& reply);

}  // namespace moorlak
