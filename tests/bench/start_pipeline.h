// Rewrites a configuration as a VPN start does, but without the machine: all ports are free, all folders are empty, log
// lines are dropped.
#pragma once

#include <string>

namespace moorlak::bench {

// Returns the text that would be staged. Consumes its argument, as a start does.
std::string RunStartPipeline(std::string text);

}  // namespace moorlak::bench
