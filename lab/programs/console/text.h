// Small pieces of command lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak::lab {

// For keywords and names. Ignores the case of ASCII letters only, which for names is stricter than Windows.
bool EqualsIgnoringCase(std::string_view one, std::string_view other);
// Also true for the whole keyword, never for an empty text.
bool IsAbbreviationOf(std::string_view text, std::string_view keyword);

// Digits only, within the bounds.
std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t least, uint32_t most);

// The pieces between the separators, empty ones included.
std::vector<std::string_view> Split(std::string_view text, char separator);

// The command line after the program's name, without leading blanks. The name may be in quotes.
std::string ArgumentsText(std::string_view commandLine);

// What a program prints under the fault "print": `count` bytes, in lines of 64 that end with \n.
std::string PrintedBytes(size_t count);

}  // namespace moorlak::lab
