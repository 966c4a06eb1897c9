#include "config/file_settings.h"

#include <algorithm>
#include <charconv>

#include "text/json_members.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr char32_t kLongS = 0x17F;
constexpr char32_t kKelvin = 0x212A;
// Any character that does not occur in the names and words here.
constexpr char32_t kOther = 0xFFFFFFFF;

constexpr size_t kLongestEscape = 6;

constexpr std::string_view kTextHead = "The configuration names a file or socket path for the engine (\"";

// A character of a text value, and where it ends, which is not used after another one.
struct Character {
  char32_t value = kOther;
  size_t end = 0;
};

Character ReadEscape(std::string_view inner, size_t position) {
  const std::string_view escape = inner.substr(position, kLongestEscape);
  // No short escape stands for a letter.
  if (escape.size() < kLongestEscape || escape[1] != 'u') return {};
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(escape.data() + 2, escape.data() + kLongestEscape, value, 16);
  if (error != std::errc() || end != escape.data() + kLongestEscape) return {};
  return {value, position + kLongestEscape};
}

Character ReadCharacter(std::string_view inner, size_t position) {
  const std::string_view rest = inner.substr(position);
  if (rest[0] == '\\') return ReadEscape(inner, position);
  if (rest.starts_with("\u017F")) return {kLongS, position + 2};
  if (rest.starts_with("\u212A")) return {kKelvin, position + 3};
  if (static_cast<unsigned char>(rest[0]) >= 0x80) return {};
  return {static_cast<char32_t>(rest[0]), position + 1};
}

// Whether the engine treats both as the same character in a name; the second is a small letter.
bool IsSameInNames(char32_t character, char letter) {
  if (character == kLongS) return letter == 's';
  if (character == kKelvin) return letter == 'k';
  return character < 0x80 && FoldLetter(static_cast<char>(character)) == letter;
}

bool IsSame(char32_t character, char letter) {
  return character == static_cast<char32_t>(letter);
}

// Whether the text between the quotes means the word, character by character.
bool Means(std::string_view inner, std::string_view word, bool (*isSame)(char32_t character, char letter)) {
  if (inner.size() < word.size() || inner.size() > word.size() * kLongestEscape) return false;
  size_t position = 0;
  for (const char letter : word) {
    if (position >= inner.size()) return false;
    const Character character = ReadCharacter(inner, position);
    if (!isSame(character.value, letter)) return false;
    position = character.end;
  }
  return position == inner.size();
}

bool IsName(std::string_view inner, std::string_view name) {
  return Means(inner, name, IsSameInNames);
}

bool NamesLogFile(std::string_view inner) {
  return !inner.empty() && !Means(inner, "none", IsSame);
}

// Longer texts are not addresses and need not be read.
constexpr size_t kLongestListenText = 2048;

bool NamesPath(std::string_view inner) {
  return inner.size() > kLongestListenText || !IsListenAddress(UnescapeJson(inner));
}

constexpr bool IsHostByte(char byte) {
  const char letter = FoldLetter(byte);
  return (letter >= 'a' && letter <= 'z') || (byte >= '0' && byte <= '9') || byte == '.' || byte == '-' || byte == '_';
}

// Not "." or "..", which are folders.
bool IsHost(std::string_view text) {
  return std::ranges::all_of(text, IsHostByte) && text.find_first_not_of(".-_") != std::string_view::npos;
}

// With an optional zone after "%".
bool IsIpv6(std::string_view text) {
  const size_t percent = std::min(text.find('%'), text.size());
  if (percent < text.size() && !IsHost(text.substr(percent + 1))) return false;
  const std::string_view groups = text.substr(0, percent);
  return std::ranges::count(groups, ':') >= 2 &&
         groups.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
}

// ":80", or an empty text.
bool IsPortEnd(std::string_view text) {
  return text.empty() || (text[0] == ':' && ParseDecimal(text.substr(1), 65535));
}

std::string_view WithoutBlanksAround(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

struct Reading {
  std::string_view text;
  BlockCommentEnd commentEnd;
  size_t depth = 0;
  // The depth inside the outermost "log"; 0 outside.
  size_t logDepth = 0;
};

void Close(Reading& reading) {
  if (reading.depth > 0) --reading.depth;
  if (reading.depth < reading.logDepth) reading.logDepth = 0;
}

// The setting that a member with a text value is; the value without its quotes.
std::string_view JudgeText(const Reading& reading, std::string_view name, std::string_view value) {
  if (IsName(name, "listen")) return NamesPath(value) ? "listen" : "";
  if (reading.logDepth == 0) return {};
  if (IsName(name, "access")) return NamesLogFile(value) ? "log.access" : "";
  if (IsName(name, "error")) return NamesLogFile(value) ? "log.error" : "";
  return {};
}

// The part between the quotes of the text that ends before `end`.
std::string_view InnerText(std::string_view text, size_t begin, size_t end) {
  return text.substr(begin + 1, end - begin - 2);
}

// Reads the text at the position and, if it is a member's name, the member's value. Moves the position past what it has
// read.
std::string_view ReadMember(Reading& reading, size_t& position) {
  const std::string_view text = reading.text;
  const size_t nameBegin = position;
  position = SkipJsonText(text, position);
  if (position == kNotFound) return {};
  const std::string_view name = InnerText(text, nameBegin, position);
  const size_t colon = SkipBlanksAndComments(text, position, reading.commentEnd);
  if (colon >= text.size() || text[colon] != ':') return {};
  if (IsName(name, "masterkeylog")) return "masterKeyLog";
  position = SkipBlanksAndComments(text, colon + 1, reading.commentEnd);
  if (position >= text.size()) return {};
  if (text[position] == '"') {
    const size_t valueEnd = SkipJsonText(text, position);
    if (valueEnd == kNotFound) return {};
    // The caller reads it again as a name: in a malformed text it may be one.
    return JudgeText(reading, name, InnerText(text, position, valueEnd));
  }
  const bool opensLog = text[position] == '{' || text[position] == '[';
  if (opensLog && reading.logDepth == 0 && IsName(name, "log")) reading.logDepth = reading.depth + 1;
  return {};
}

std::string_view Find(Reading reading) {
  const std::string_view text = reading.text;
  size_t position = 0;
  while (position < text.size()) {
    const char byte = text[position];
    if (byte == '"') {
      const std::string_view setting = ReadMember(reading, position);
      if (!setting.empty()) return setting;
    } else if (BeginsComment(text, position)) {
      position = SkipBlanksAndComments(text, position, reading.commentEnd);
    } else {
      if (byte == '{' || byte == '[') ++reading.depth;
      if (byte == '}' || byte == ']') Close(reading);
      ++position;
    }
  }
  return {};
}

}  // namespace

std::string_view FindFileSetting(std::string_view text) {
  // The engine's reader allows line ends between the two bytes that close a comment. A later version may not, and the
  // comment would then end elsewhere; so what either reading finds counts.
  const std::string_view setting = Find({text, BlockCommentEnd::AcrossLines});
  if (!setting.empty() || FindText(text, "*\n", 0, LetterCase::Exact) == kNotFound) return setting;
  return Find({text, BlockCommentEnd::OnOneLine});
}

std::string FileSettingText(std::string_view setting) {
  std::string text(kTextHead);
  text += setting;
  text += "\"), which is not allowed. Remove this setting.";
  return text;
}

bool IsFileSettingText(std::string_view text) {
  return text.starts_with(kTextHead);
}

bool IsListenAddress(std::string_view text) {
  text = WithoutBlanksAround(text);
  if (text.empty() || IsHost(text) || IsIpv6(text)) return true;
  if (text[0] == '[') {
    const size_t close = text.find(']');
    if (close == std::string_view::npos) return false;
    const std::string_view inside = text.substr(1, close - 1);
    return (IsHost(inside) || IsIpv6(inside)) && IsPortEnd(text.substr(close + 1));
  }
  const size_t colon = std::min(text.find(':'), text.size());
  // A single letter before the colon is a drive.
  return colon != 1 && (colon == 0 || IsHost(text.substr(0, colon))) && IsPortEnd(text.substr(colon));
}

}  // namespace moorlak
