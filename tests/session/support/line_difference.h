// The lines that differ between two texts.
#pragma once

#include <string>

namespace moorlak::session {

// Lines that occur more often in one text than in the other, sorted: "- " before removed lines, "+ " before added ones,
// each ending with a line feed. Empty if the texts differ only in their order.
std::string LineDifference(const std::string& before, const std::string& now);

}  // namespace moorlak::session
