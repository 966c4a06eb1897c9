// The text of recovery files: "v1", then one value a line, each line ending with a line feed. A file can be cut or
// changed anywhere; the reader's callers decide how much of it they believe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

inline constexpr std::string_view kRecordVersion = "v1";

void AddRecordLine(std::string& text, std::string_view line);
void AddRecordNumber(std::string& text, uint64_t number);

// The text of a file without values.
std::string NewRecordText();

// Reads a text from its beginning to its end, each byte a fixed number of times, whatever is asked for. Refers to the
// text.
class RecordReader {
 public:
  explicit RecordReader(std::string_view wholeText) : text(wholeText) {}

  bool AtEnd() const { return position >= text.size(); }

  // The rest of the line without its line feed. nullopt, at the end of the text, if it has none: such a line may be
  // incomplete.
  std::optional<std::string_view> Line();

  // A line that is a decimal number of at most `largest`, and nothing else.
  std::optional<uint64_t> NumberLine(uint64_t largest);

  // The 32-bit number after any blanks, line ends included; what follows it on its line is not read. nullopt, without
  // moving, if there is none or the text ends right after it.
  std::optional<uint32_t> Number();

 private:
  std::string_view text;
  size_t position = 0;
  // Start of the last token that was not a number; Number fails at once before it, which keeps reading linear.
  size_t noNumberAt = 0;
};

}  // namespace moorlak
