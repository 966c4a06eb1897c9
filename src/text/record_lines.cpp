#include "text/record_lines.h"

#include <limits>

#include "text/text_scan.h"

namespace moorlak {

void AddRecordLine(std::string& text, std::string_view line) {
  text += line;
  text += '\n';
}

void AddRecordNumber(std::string& text, uint64_t number) {
  AddRecordLine(text, std::to_string(number));
}

std::string NewRecordText() {
  std::string text;
  AddRecordLine(text, kRecordVersion);
  return text;
}

std::optional<std::string_view> RecordReader::Line() {
  const size_t begin = position;
  const size_t end = FindByte(text, '\n', begin);
  position = end == kNotFound ? text.size() : end + 1;
  return end == kNotFound ? std::nullopt : std::optional(text.substr(begin, end - begin));
}

std::optional<uint64_t> RecordReader::NumberLine(uint64_t largest) {
  const auto line = Line();
  return line ? ParseDecimal(*line, largest) : std::nullopt;
}

std::optional<uint32_t> RecordReader::Number() {
  if (position < noNumberAt) return std::nullopt;
  const size_t begin = SkipBlanks(text, position);
  const size_t end = SkipDigits(text, begin);
  const auto number = ParseDecimal(text.substr(begin, end - begin), std::numeric_limits<uint32_t>::max());
  if (!number || end >= text.size()) {
    noNumberAt = begin;
    return std::nullopt;
  }
  position = end;
  return static_cast<uint32_t>(*number);
}

}  // namespace moorlak
