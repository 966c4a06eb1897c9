// Developer diagnostics: the standard error stream, UTF-8.
#pragma once

#include <string_view>

namespace moorlak {

// Writes the text unchanged with one write call, so that messages of several threads do not mix. A service usually has
// no standard error; the text is then dropped. Never fails.
void WriteStandardError(std::string_view text) noexcept;

// The same, with a line end appended.
void WriteStandardErrorLine(std::string_view line) noexcept;

}  // namespace moorlak
