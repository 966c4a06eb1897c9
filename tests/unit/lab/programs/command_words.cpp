#include "lab/programs/command_words.h"

#include "programs/console/text.h"

namespace moorlak::lab {
namespace {

struct Splitter {
  Words words;
  std::string word;
  bool inWord = false;
  bool quoted = false;
  size_t backslashes = 0;

  void EndWord() {
    if (inWord) words.push_back(word);
    word.clear();
    inWord = false;
  }

  // Backslashes are literal, except before a quote: there each pair is one backslash, and an odd one makes the quote
  // literal.
  void TakeQuote() {
    word.append(backslashes / 2, '\\');
    if (backslashes % 2 == 1) {
      word += '"';
    } else {
      quoted = !quoted;
    }
    backslashes = 0;
    inWord = true;
  }

  void Take(char character) {
    if (character == '\\') {
      ++backslashes;
      inWord = true;
      return;
    }
    if (character == '"') return TakeQuote();
    word.append(backslashes, '\\');
    backslashes = 0;
    if (!quoted && (character == ' ' || character == '\t')) return EndWord();
    word += character;
    inWord = true;
  }
};

}  // namespace

Words CommandWords(std::string_view commandLine) {
  Splitter splitter;
  for (const char character : ArgumentsText(commandLine)) splitter.Take(character);
  splitter.word.append(splitter.backslashes, '\\');
  splitter.EndWord();
  return splitter.words;
}

}  // namespace moorlak::lab
