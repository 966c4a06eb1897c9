// Small pieces of command lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak::lab {

// Letter case matters for no keyword. Names are compared likewise, beyond ASCII only letter for letter, which is
// stricter than Windows.
bool EqualsIgnoringCase(std::string_view one, std::string_view other);
// True for the whole keyword too, never for an empty text.
bool IsAbbreviationOf(std::string_view text, std::string_view keyword);

// Digits only, within the bounds.
std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t least, uint32_t most);

// Pieces between the separators; empty pieces stay.
std::vector<std::string_view> Split(std::string_view text, char separator);

// What follows the program's name on a command line, blanks before it left out. The name may stand between quotes.
std::string ArgumentsText(std::string_view commandLine);

// What a program prints under the fault "print": that many bytes, in lines of 64 with \n at their ends.
std::string PrintedBytes(size_t count);

}  // namespace moorlak::lab
