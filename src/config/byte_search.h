// Searching bytes, sixteen at a time where the processor has SSE2 (every x86-64 one has): some five times as fast as
// the C library's search on Windows.
#pragma once

#include <cstddef>
#include <string_view>

namespace moorlak {

inline constexpr size_t kNotFound = std::string_view::npos;

// Ignore folds the ASCII letters only.
enum class LetterCase { Exact, Ignore };

// An ASCII capital as its small letter, every other byte as it is.
inline char FoldLetter(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

// Whether two texts of one size are the same.
bool SameBytes(std::string_view one, std::string_view other, LetterCase letterCase);

// The first such byte at or behind a position; kNotFound when there is none. The position may lie behind the text.
size_t FindByte(std::string_view text, char byte, size_t from);

// The first place at or behind a position where the needle (not empty) stands.
size_t FindText(std::string_view text, std::string_view needle, size_t from, LetterCase letterCase);

}  // namespace moorlak
