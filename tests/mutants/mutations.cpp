#include "mutants/mutations.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

#include "mutants/cpp_tokens.h"

namespace moorlak {
namespace {

using Change = std::pair<std::string_view, std::string_view>;

constexpr std::array<Change, 9> kWordChanges{{{"true", "false"},
                                              {"false", "true"},
                                              {"continue", "break"},
                                              {"break", "continue"},
                                              {"min", "max"},
                                              {"max", "min"},
                                              {"any_of", "all_of"},
                                              {"all_of", "any_of"},
                                              {"none_of", "any_of"}}};

constexpr std::array<Change, 12> kSignChanges{{{"==", "!="},
                                               {"!=", "=="},
                                               {"<=", "<"},
                                               {">=", ">"},
                                               {"&&", "||"},
                                               {"||", "&&"},
                                               {"++", "--"},
                                               {"--", "++"},
                                               {"+=", "-="},
                                               {"-=", "+="},
                                               {"!", ""},
                                               {"|=", "&="}}};

// These have other meanings, too (brackets of a template, a pointer, a sign). The formatter puts blanks around
// operators only.
constexpr std::array<Change, 6> kSpacedChanges{
    {{"<", "<="}, {">", ">="}, {"+", "-"}, {"-", "+"}, {"*", "/"}, {"/", "*"}}};

std::string_view TextOf(std::string_view source, const Token& token) {
  return source.substr(token.begin, token.end - token.begin);
}

bool IsBlank(std::string_view source, size_t at) {
  return at < source.size() && (source[at] == ' ' || source[at] == '\n');
}

template <size_t kSize>
void AddChanges(std::vector<Mutation>& mutations, const std::array<Change, kSize>& changes, std::string_view text,
                const Token& token) {
  for (const auto& [from, to] : changes) {
    if (text == from) mutations.push_back({token.begin, token.end, std::string(to)});
  }
}

// One more and one less. A number with a point, or one too long, has none.
void AddNumbers(std::vector<Mutation>& mutations, std::string_view text, const Token& token) {
  std::string digits;
  for (const char byte : text) {
    if (byte != '\'') digits += byte;
  }
  const bool hexadecimal = digits.starts_with("0x");
  const char* const begin = digits.data() + (hexadecimal ? 2 : 0);
  const char* const end = digits.data() + digits.size();
  uint64_t value = 0;
  const auto read = std::from_chars(begin, end, value, hexadecimal ? 16 : 10);
  const std::string suffix(read.ptr, end);
  if (read.ec != std::errc{} || suffix.find_first_not_of("uUlLzZ") != std::string::npos) return;
  if (value != UINT64_MAX) mutations.push_back({token.begin, token.end, std::to_string(value + 1) + suffix});
  if (value != 0) mutations.push_back({token.begin, token.end, std::to_string(value - 1) + suffix});
}

// "return found;" to "return !(found);". Returned words (true, nullopt) have mutations of their own.
void AddReturn(std::vector<Mutation>& mutations, std::string_view source, const std::vector<Token>& tokens,
               size_t index) {
  size_t last = index + 1;
  while (last < tokens.size() && TextOf(source, tokens[last]) != ";") {
    const std::string_view text = TextOf(source, tokens[last]);
    // A lambda has statements of its own.
    if (text == "{") return;
    ++last;
  }
  if (last >= tokens.size() || last == index + 1) return;
  const std::string_view first = TextOf(source, tokens[index + 1]);
  if (last == index + 2 && (first == "true" || first == "false")) return;
  const size_t begin = tokens[index + 1].begin;
  const size_t end = tokens[last].begin;
  mutations.push_back({begin, end, "!(" + std::string(source.substr(begin, end - begin)) + ")"});
}

// The index of the last bracket of the call that begins there.
size_t EndOfCall(std::string_view source, const std::vector<Token>& tokens, size_t index) {
  size_t depth = 0;
  for (size_t at = index + 1; at < tokens.size(); ++at) {
    if (TextOf(source, tokens[at]) == "(") ++depth;
    if (TextOf(source, tokens[at]) == ")" && --depth == 0) return at;
  }
  return index;
}

// Whether the line declares a function that returns a boolean.
bool ReturnsBoolean(std::string_view line) {
  for (const std::string_view word : {"constexpr ", "inline ", "static ", "[[nodiscard]] "}) {
    if (line.starts_with(word)) line.remove_prefix(word.size());
  }
  return line.starts_with("bool ");
}

// The line with this byte and the following lines, up to the next end of a line after the second byte.
std::pair<size_t, size_t> LinesAround(std::string_view source, size_t begin, size_t end) {
  const size_t before = begin == 0 ? std::string_view::npos : source.rfind('\n', begin - 1);
  const size_t after = source.find('\n', end);
  return {before == std::string_view::npos ? 0 : before + 1, after == std::string_view::npos ? source.size() : after};
}

// Blanks at the beginning, and an end of a line with the blanks after it, become at most one blank.
std::string Joined(std::string_view lines) {
  std::string joined;
  bool indentation = true;
  for (const char byte : lines) {
    if (byte == '\n') {
      indentation = true;
      if (!joined.empty()) joined += ' ';
    } else if (byte != ' ' || !indentation) {
      indentation = false;
      joined += byte;
    }
  }
  return joined;
}

}  // namespace

std::vector<Mutation> MutationsOf(std::string_view source) {
  std::vector<Mutation> mutations;
  const std::vector<Token> tokens = ReadTokens(source);
  bool returnsBoolean = false;
  for (size_t index = 0; index < tokens.size(); ++index) {
    const Token token = tokens[index];
    const std::string_view text = TextOf(source, token);
    // A function begins at the beginning of a line.
    if (token.begin == 0 || source[token.begin - 1] == '\n')
      returnsBoolean = ReturnsBoolean(source.substr(token.begin));
    if (text == "reserve") index = EndOfCall(source, tokens, index);
    if (text == "return" && returnsBoolean) AddReturn(mutations, source, tokens, index);
    if (token.kind == TokenKind::Number) AddNumbers(mutations, text, token);
    if (token.kind == TokenKind::Word) AddChanges(mutations, kWordChanges, text, token);
    if (token.kind != TokenKind::Sign) continue;
    AddChanges(mutations, kSignChanges, text, token);
    if (IsBlank(source, token.begin - 1) && IsBlank(source, token.end))
      AddChanges(mutations, kSpacedChanges, text, token);
  }
  return mutations;
}

std::string LinesBefore(std::string_view source, const Mutation& mutation) {
  const auto [begin, end] = LinesAround(source, mutation.begin, mutation.end);
  return Joined(source.substr(begin, end - begin));
}

std::string LinesAfter(std::string_view source, const Mutation& mutation) {
  const auto [begin, end] = LinesAround(source, mutation.begin, mutation.end);
  return Joined(std::string(source.substr(begin, mutation.begin - begin)) + mutation.replacement +
                std::string(source.substr(mutation.end, end - mutation.end)));
}

}  // namespace moorlak
