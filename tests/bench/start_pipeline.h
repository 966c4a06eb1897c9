// The rewriting of a configuration as a VPN start does it, without the machine: ports are free, folders are empty, log
// lines are dropped.
#pragma once

#include <string>

namespace moorlak::bench {

// The text that would be staged. Consumes the text, as a start does.
std::string RunStartPipeline(std::string text);

}  // namespace moorlak::bench
