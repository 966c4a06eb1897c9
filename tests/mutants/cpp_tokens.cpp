#include "mutants/cpp_tokens.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

namespace moorlak {
namespace {

// Signs of more than one character, those first that begin with another one.
constexpr std::array<std::string_view, 22> kLongSigns{"<=>", "<<=", ">>=", "->*", "...", "::", "->", "++",
                                                      "--",  "<<",  ">>",  "<=",  ">=",  "==", "!=", "&&",
                                                      "||",  "+=",  "-=",  "*=",  "/=",  "|="};

bool IsWordByte(char byte) {
  return std::isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '_';
}

bool IsDigit(char byte) {
  return std::isdigit(static_cast<unsigned char>(byte)) != 0;
}

size_t EndOf(std::string_view source, std::string_view mark, size_t from) {
  const size_t found = source.find(mark, from);
  return found == std::string_view::npos ? source.size() : found + mark.size();
}

// After a text or character that begins at its quote.
size_t EndOfQuoted(std::string_view source, size_t quote) {
  for (size_t at = quote + 1; at < source.size(); ++at) {
    if (source[at] == '\\') {
      ++at;
    } else if (source[at] == source[quote]) {
      return at + 1;
    }
  }
  return source.size();
}

// R"delimiter(text)delimiter", from its R.
size_t EndOfRawText(std::string_view source, size_t begin) {
  const size_t open = source.find('(', begin);
  if (open == std::string_view::npos) return source.size();
  return EndOf(source, ")" + std::string(source.substr(begin + 2, open - begin - 2)) + "\"", open);
}

// A line of the preprocessor, with the lines that continue it.
size_t EndOfDirective(std::string_view source, size_t begin) {
  size_t end = EndOf(source, "\n", begin);
  while (end >= 2 && end < source.size() && source[end - 2] == '\\') end = EndOf(source, "\n", end);
  return end;
}

// The end of what is no code that runs and begins here; the beginning itself if it is code.
size_t EndOfSkipped(std::string_view source, size_t begin) {
  const std::string_view rest = source.substr(begin);
  if (std::isspace(static_cast<unsigned char>(rest.front())) != 0) return begin + 1;
  if (rest.starts_with("//")) return EndOf(source, "\n", begin);
  if (rest.starts_with("/*")) return EndOf(source, "*/", begin + 2);
  if (rest.starts_with("R\"")) return EndOfRawText(source, begin);
  if (rest.starts_with("static_assert")) return EndOf(source, ";", begin);
  if (rest.front() == '"' || rest.front() == '\'') return EndOfQuoted(source, begin);
  if (rest.front() == '#') return EndOfDirective(source, begin);
  return begin;
}

Token ReadToken(std::string_view source, size_t begin) {
  const bool number = IsDigit(source[begin]);
  size_t end = begin;
  // 1'000 is one number.
  while (end < source.size() && (IsWordByte(source[end]) || (number && (source[end] == '\'' || source[end] == '.'))))
    ++end;
  if (end > begin) return {number ? TokenKind::Number : TokenKind::Word, begin, end};
  const auto sign = std::find_if(kLongSigns.begin(), kLongSigns.end(), [&](std::string_view candidate) {
    return source.substr(begin).starts_with(candidate);
  });
  return {TokenKind::Sign, begin, begin + (sign == kLongSigns.end() ? 1 : sign->size())};
}

}  // namespace

std::vector<Token> ReadTokens(std::string_view source) {
  std::vector<Token> tokens;
  for (size_t at = 0; at < source.size();) {
    const size_t end = EndOfSkipped(source, at);
    if (end > at) {
      at = end;
      continue;
    }
    tokens.push_back(ReadToken(source, at));
    at = tokens.back().end;
  }
  return tokens;
}

}  // namespace moorlak
