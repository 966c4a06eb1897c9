// Compares names without regard to ASCII letter case: device instance ids, GUIDs as text.
#pragma once

#include <algorithm>
#include <string_view>

namespace moorlak::lab {

inline char FoldAscii(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

inline bool SameAscii(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, [](char one, char other) { return FoldAscii(one) == FoldAscii(other); });
}

}  // namespace moorlak::lab
