// Comparing texts without regard to the case of ASCII letters. Every other character is itself.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace moorlak {

// Turns an ASCII capital into its small letter and leaves everything else as it is; bytes and UTF-16.
template <typename Char>
constexpr Char FoldLetter(Char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<Char>(letter - 'A' + 'a') : letter;
}

template <typename Char>
constexpr bool EqualFoldedViews(std::basic_string_view<Char> one, std::basic_string_view<Char> other) {
  return std::ranges::equal(one, other, {}, FoldLetter<Char>, FoldLetter<Char>);
}

constexpr bool EqualFolded(std::string_view one, std::string_view other) {
  return EqualFoldedViews(one, other);
}

constexpr bool EqualFolded(std::wstring_view one, std::wstring_view other) {
  return EqualFoldedViews(one, other);
}

// The text with ASCII capitals turned into small letters.
inline std::string FoldLetters(std::string_view text) {
  std::string folded(text);
  std::ranges::transform(folded, folded.begin(), FoldLetter<char>);
  return folded;
}

}  // namespace moorlak
