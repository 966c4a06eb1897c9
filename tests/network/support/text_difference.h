// What differs between two texts whose lines are indented below what they belong to.
#pragma once

#include <string>

namespace moorlak {

// "-" and the line for each that only `before` has, "+" for each that only `after` has, in the texts' order; lines that
// both have stand, with a blank, above the first difference below them. Empty if the texts are equal. Each line ends
// with a line feed, as those of the texts do.
std::string Difference(const std::string& before, const std::string& after);

}  // namespace moorlak
