// What differs between two texts whose lines are indented below what they belong to.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// "-" and the line for each that only `before` has, "+" for each that only `after` has, in the texts' order; lines that
// both have stand, with a blank, above the first difference below them. Empty if the texts are equal. Each line ends
// with a line feed, as those of the texts do.
std::string Difference(const std::string& before, const std::string& after);

// Removes the lines below the heading, which both texts have and is not indented, with the heading from the difference,
// and returns them. Empty if nothing below it differs.
std::string TakeSection(std::string& difference, std::string_view heading);

}  // namespace moorlak
