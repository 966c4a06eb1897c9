#pragma once
// The tokens of a C++ source file that a mutant may change.

#include <cstddef>
#include <string_view>
#include <vector>

namespace moorlak {

enum class TokenKind { Word, Number, Sign };

struct Token {
  TokenKind kind;
  // Bytes of the file: the first, and the one after the last.
  size_t begin;
  size_t end;
};

// In the order of the file. Leaves out what is no code that runs: comments, texts, characters, preprocessor lines and
// static assertions.
std::vector<Token> ReadTokens(std::string_view source);

}  // namespace moorlak
