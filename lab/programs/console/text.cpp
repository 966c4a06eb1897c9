#include "programs/console/text.h"

#include <algorithm>
#include <charconv>

namespace moorlak::lab {
namespace {

constexpr size_t kPrintedLine = 64;

char Lowered(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool IsBlank(char character) {
  return character == ' ' || character == '\t';
}

}  // namespace

bool EqualsIgnoringCase(std::string_view one, std::string_view other) {
  return std::ranges::equal(one, other, {}, Lowered, Lowered);
}

bool IsAbbreviationOf(std::string_view text, std::string_view keyword) {
  return !text.empty() && EqualsIgnoringCase(text, keyword.substr(0, text.size()));
}

std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t least, uint32_t most) {
  uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end || number < least || number > most) return std::nullopt;
  return number;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator)) {
    pieces.push_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  pieces.push_back(text);
  return pieces;
}

std::string ArgumentsText(std::string_view commandLine) {
  size_t at = 0;
  bool quoted = false;
  while (at < commandLine.size() && (quoted || !IsBlank(commandLine[at]))) {
    if (commandLine[at] == '"') quoted = !quoted;
    ++at;
  }
  while (at < commandLine.size() && IsBlank(commandLine[at])) ++at;
  return std::string(commandLine.substr(at));
}

std::string PrintedBytes(size_t count) {
  std::string text(count, '.');
  for (size_t i = kPrintedLine - 1; i < count; i += kPrintedLine) text[i] = '\n';
  return text;
}

}  // namespace moorlak::lab
