// Developer diagnostics: the standard error stream, UTF-8.
#pragma once

#include <string_view>

namespace moorlak {

// Writes the text as it is with one write call, so that the messages of several threads do not mix.
// A service has no standard error as a rule; the text is then dropped. Never fails.
void WriteStandardError(std::string_view text) noexcept;

// The same with a line end behind the text.
void WriteStandardErrorLine(std::string_view line) noexcept;

}  // namespace moorlak
