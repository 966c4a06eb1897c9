// What two texts do not share.
#pragma once

#include <string>

namespace moorlak::session {

// Lines that the one text has more often than the other, sorted: "- " before those that went, "+ " before those that
// came, each ended by a line feed. Empty also for texts that differ in their order only.
std::string LineDifference(const std::string& before, const std::string& now);

}  // namespace moorlak::session
