// Searching bytes, sixteen at a time where the processor has SSE2 (every x86-64 one has): some five times as fast as
// the C library's search on Windows.
#pragma once

#include <cstddef>
#include <string_view>

#include "config/byte_blocks.h"

namespace moorlak {

inline constexpr size_t kNotFound = std::string_view::npos;

// Ignore folds the ASCII letters only.
enum class LetterCase { Exact, Ignore };

// An ASCII capital as its small letter, every other byte as it is.
constexpr char FoldLetter(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

// Whether two texts of one size are the same.
bool SameBytes(std::string_view one, std::string_view other, LetterCase letterCase);

// The first such byte at or behind a position; kNotFound when there is none. The position may lie behind the text.
size_t FindByte(std::string_view text, char byte, size_t from);

// The first place at or behind a position where the needle (not empty) stands.
size_t FindText(std::string_view text, std::string_view needle, size_t from, LetterCase letterCase);

// The quotes that may close the name of a member, because a colon follows or a byte no greater than a blank, and those
// that a certain byte follows: in the first block that has any, at or behind a position where a block begins.
BlockPlaces FindQuotesOfNames(std::string_view text, size_t from, char begin);

}  // namespace moorlak
