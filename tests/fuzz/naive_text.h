// Simple helpers for checking properties, independent of the product's scanners.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak::naive {

inline bool IsBlank(char byte) {
  return std::string_view(" \t\n\v\f\r").find(byte) != std::string_view::npos;
}

inline bool IsDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

inline std::string Quoted(std::string_view word) {
  return '"' + std::string(word) + '"';
}

inline bool Holds(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// The position of a member's value if the member's quoted key is at the position.
inline std::optional<size_t> ValueOfMember(std::string_view text, size_t position, std::string_view quotedKey) {
  if (text.substr(position, quotedKey.size()) != quotedKey) return std::nullopt;
  size_t value = position + quotedKey.size();
  while (value < text.size() && IsBlank(text[value])) ++value;
  if (value == text.size() || text[value] != ':') return std::nullopt;
  ++value;
  while (value < text.size() && IsBlank(text[value])) ++value;
  return value;
}

inline size_t CommonPrefix(std::string_view one, std::string_view other) {
  size_t size = 0;
  while (size < one.size() && size < other.size() && one[size] == other[size]) ++size;
  return size;
}

inline size_t CommonSuffix(std::string_view one, std::string_view other) {
  size_t size = 0;
  while (size < one.size() && size < other.size() && one[one.size() - 1 - size] == other[other.size() - 1 - size]) {
    ++size;
  }
  return size;
}

// Whether the shorter text is the longer one without one run of bytes.
inline bool IsCutOf(std::string_view shorter, std::string_view longer) {
  return shorter.size() <= longer.size() &&
         CommonPrefix(shorter, longer) + CommonSuffix(shorter, longer) >= shorter.size();
}

// Whether the text contains all bytes of the part in their order, possibly with others between them.
inline bool IsScattered(std::string_view part, std::string_view text) {
  size_t found = 0;
  for (const char byte : text) {
    if (found < part.size() && part[found] == byte) ++found;
  }
  return found == part.size();
}

}  // namespace moorlak::naive
