#include "text/json_members.h"

#include <algorithm>
#include <charconv>

#include "text/text_scan.h"

namespace moorlak {
namespace {

// The position after `*/` at or after a position. The slash counts if only stars and, with AcrossLines, line ends are
// between it and a star.
size_t FindBlockCommentEnd(std::string_view text, size_t position, BlockCommentEnd commentEnd) {
  bool star = false;
  for (; position < text.size(); ++position) {
    const char byte = text[position];
    if (star && byte == '/') return position + 1;
    if (byte == '\n' && commentEnd == BlockCommentEnd::AcrossLines) continue;
    star = byte == '*';
  }
  return text.size();
}

// The end of the comment that begins at the position; an unclosed comment ends with the text.
size_t SkipComment(std::string_view text, size_t position, BlockCommentEnd commentEnd) {
  if (text.substr(position, 2) == "/*") return FindBlockCommentEnd(text, position + 2, commentEnd);
  const size_t end = FindByte(text, '\n', position + 1);
  return end == kNotFound ? text.size() : end + 1;
}

struct BracketPair {
  char open;
  char close;
};
constexpr BracketPair kBraces{'{', '}'};
constexpr BracketPair kSquareBrackets{'[', ']'};

// Numbers, true, false, null.
size_t SkipScalar(std::string_view text, size_t position) {
  const size_t begin = position;
  while (position < text.size() && !IsBlank(text[position]) && !BeginsComment(text, position) &&
         std::string_view(",:{}[]\"").find(text[position]) == kNotFound) {
    ++position;
  }
  return position == begin ? kNotFound : position;
}

size_t SkipValue(std::string_view text, size_t position) {
  if (position >= text.size()) return kNotFound;
  if (text[position] == '"') return SkipJsonText(text, position);
  if (text[position] == '{' || text[position] == '[') {
    // If the kinds of brackets do not match, the engine refuses the whole text.
    return FindContainerEnd(text, position, Brackets::AllKinds, Comments::Skipped);
  }
  return SkipScalar(text, position);
}

// Reads `\uXXXX` of an ASCII character at the position of its backslash; nullopt for anything else.
std::optional<char> ReadAsciiEscape(std::string_view inner, size_t position) {
  const std::string_view digits = inner.substr(position).substr(0, 6);
  if (digits.size() != 6 || digits[1] != 'u') return std::nullopt;
  unsigned value = 0;
  const auto [end, error] = std::from_chars(digits.data() + 2, digits.data() + 6, value, 16);
  if (error != std::errc() || end != digits.data() + 6 || value >= 0x80) return std::nullopt;
  return static_cast<char>(value);
}

}  // namespace

bool BeginsComment(std::string_view text, size_t position) {
  const std::string_view here = text.substr(position, 2);
  return here.starts_with('#') || here == "//" || here == "/*";
}

size_t SkipBlanksAndComments(std::string_view text, size_t position, BlockCommentEnd commentEnd) {
  position = SkipBlanks(text, position);
  while (position < text.size() && BeginsComment(text, position)) {
    position = SkipBlanks(text, SkipComment(text, position, commentEnd));
  }
  return position;
}

size_t SkipJsonText(std::string_view text, size_t position) {
  for (size_t i = position + 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i + 1;
    }
  }
  return kNotFound;
}

size_t FindContainerEnd(std::string_view text, size_t position, Brackets brackets, Comments comments) {
  if (position >= text.size()) return kNotFound;
  const BracketPair own = text[position] == '{' ? kBraces : kSquareBrackets;
  const BracketPair other = brackets == Brackets::FirstKind ? own : text[position] == '{' ? kSquareBrackets : kBraces;
  size_t depth = 0;
  while (position < text.size()) {
    const char byte = text[position];
    if (byte == '"') {
      position = SkipJsonText(text, position);
    } else if (comments == Comments::Skipped && BeginsComment(text, position)) {
      position = SkipComment(text, position, BlockCommentEnd::AcrossLines);
    } else {
      ++position;
      if (byte == own.open || byte == other.open) ++depth;
      if ((byte == own.close || byte == other.close) && --depth == 0) return position;
    }
  }
  return kNotFound;
}

size_t FindRootObject(std::string_view text) {
  const size_t position = SkipBlanksAndComments(text, 0);
  return position < text.size() && text[position] == '{' ? position : kNotFound;
}

std::optional<std::string_view> FindJsonMember(std::string_view text, size_t object, std::string_view name) {
  std::optional<std::string_view> found;
  size_t position = SkipBlanksAndComments(text, object + 1);
  while (position < text.size() && text[position] == '"') {
    const size_t nameEnd = SkipJsonText(text, position);
    if (nameEnd == kNotFound) break;
    const std::string_view inner = text.substr(position + 1, nameEnd - position - 2);
    position = SkipBlanksAndComments(text, nameEnd);
    if (position >= text.size() || text[position] != ':') break;
    const size_t valueBegin = SkipBlanksAndComments(text, position + 1);
    const size_t valueEnd = SkipValue(text, valueBegin);
    if (valueEnd == kNotFound) break;
    if (EqualFolded(UnescapeJson(inner), name)) found = text.substr(valueBegin, valueEnd - valueBegin);
    position = SkipBlanksAndComments(text, valueEnd);
    if (position >= text.size() || text[position] != ',') break;
    position = SkipBlanksAndComments(text, position + 1);
  }
  return found;
}

std::optional<std::string> ReadJsonText(std::string_view value) {
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return std::nullopt;
  return UnescapeJson(value.substr(1, value.size() - 2));
}

std::string UnescapeJson(std::string_view inner) {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  std::string meaning;
  meaning.reserve(inner.size());
  for (size_t i = 0; i < inner.size(); ++i) {
    const size_t letter = inner[i] == '\\' && i + 1 < inner.size() ? kLetters.find(inner[i + 1]) : kNotFound;
    if (letter != kNotFound) {
      meaning += kMeanings[letter];
      ++i;
    } else if (const auto ascii = inner[i] == '\\' ? ReadAsciiEscape(inner, i) : std::nullopt) {
      meaning += *ascii;
      i += 5;
    } else {
      meaning += inner[i];
    }
  }
  return meaning;
}

bool BeginsLikeJson(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && (text[first] == '{' || text[first] == '[');
}

}  // namespace moorlak
