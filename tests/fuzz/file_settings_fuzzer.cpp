// Finds settings that name files, and compares with a JSON parser: whatever RapidJSON finds in the text without
// comments, as the engine's reader produces it, must be found, and in a well-formed text nothing else.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <rapidjson/reader.h>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "config/file_settings.h"

namespace moorlak {
namespace {

enum class Place { Content, Escape, Text, TextEscape, Quoted, QuotedEscape, LineComment, Slash, BlockComment, Star };

// The engine's reader, byte by byte as documented: each byte either belongs to the parsed text or is dropped.
struct CommentFilter {
  Place place = Place::Content;
  std::string output;

  void Put(char byte, Place next) {
    output += byte;
    place = next;
  }
  void TakeContent(char byte) {
    if (byte == '#') place = Place::LineComment;
    if (byte == '/') place = Place::Slash;
    if (byte == '\\') place = Place::Escape;
    if (byte == '"') Put(byte, Place::Text);
    if (byte == '\'') Put(byte, Place::Quoted);
    if (place == Place::Content) output += byte;
  }
  void TakeQuoted(char byte, char quote, Place escape) {
    if (byte == '\\') {
      place = escape;
    } else {
      Put(byte, byte == quote ? Place::Content : place);
    }
  }
  void TakeEscaped(char byte, Place next) {
    output += '\\';
    Put(byte, next);
  }
  void TakeComment(char byte) {
    if (place == Place::LineComment) {
      if (byte == '\n') place = Place::Content;
    } else if (place == Place::Star && byte == '/') {
      place = Place::Content;
    } else if (byte != '\n') {
      place = byte == '*' ? Place::Star : Place::BlockComment;
    }
    if (byte == '\n') output += byte;
  }
  void TakeAfterSlash(char byte) {
    if (byte == '/') {
      place = Place::LineComment;
    } else if (byte == '*') {
      place = Place::BlockComment;
    } else {
      output += '/';
      output += byte;
    }
  }
  void Take(char byte) {
    switch (place) {
      case Place::Content:
        return TakeContent(byte);
      case Place::Escape:
        return TakeEscaped(byte, Place::Content);
      case Place::Text:
        return TakeQuoted(byte, '"', Place::TextEscape);
      case Place::TextEscape:
        return TakeEscaped(byte, Place::Text);
      case Place::Quoted:
        return TakeQuoted(byte, '\'', Place::QuotedEscape);
      case Place::QuotedEscape:
        return TakeEscaped(byte, Place::Quoted);
      case Place::Slash:
        return TakeAfterSlash(byte);
      default:
        return TakeComment(byte);
    }
  }
};

void ReplaceAll(std::string& text, std::string_view what, std::string_view by) {
  for (size_t i = text.find(what); i != std::string::npos; i = text.find(what, i + by.size())) {
    text.replace(i, what.size(), by);
  }
}

std::string FoldName(std::string name) {
  ReplaceAll(name, "\u017F", "s");
  ReplaceAll(name, "\u212A", "k");
  for (char& byte : name) byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
  return name;
}

// Follows a document and records whether a file is named.
struct Finder : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Finder> {
  std::string name;
  // For each open object or array: whether it is a log or inside one.
  std::vector<bool> open{false};
  bool found = false;

  bool Key(const char* text, rapidjson::SizeType length, bool) {
    name = FoldName({text, length});
    found = found || name == "masterkeylog";
    return true;
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    const std::string_view value(text, length);
    if (name == "listen" && !IsListenAddress(value)) found = true;
    if (open.back() && (name == "access" || name == "error") && !value.empty() && value != "none") found = true;
    name.clear();
    return true;
  }
  bool Default() {
    name.clear();
    return true;
  }
  bool Open() {
    open.push_back(open.back() || name == "log");
    name.clear();
    return true;
  }
  bool Close() {
    open.pop_back();
    return true;
  }
  bool StartObject() { return Open(); }
  bool EndObject(rapidjson::SizeType) { return Close(); }
  bool StartArray() { return Open(); }
  bool EndArray(rapidjson::SizeType) { return Close(); }
};

struct Verdict {
  bool parsed = false;
  bool wholeText = false;
  bool found = false;
};

// Like the engine, reads one value and ignores what follows it.
Verdict ReadAsEngine(std::string_view text) {
  CommentFilter filter;
  for (const char byte : text) filter.Take(byte);
  Finder finder;
  rapidjson::Reader reader;
  rapidjson::StringStream stream(filter.output.c_str());
  constexpr unsigned kFlags =
      rapidjson::kParseIterativeFlag | rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseNumbersAsStringsFlag;
  Verdict verdict;
  verdict.parsed = !reader.Parse<kFlags>(stream, finder).IsError();
  verdict.wholeText = filter.output.find_first_not_of(" \t\r\n", stream.Tell()) == std::string::npos;
  verdict.found = finder.found;
  return verdict;
}

void CheckAddress(std::string_view text) {
  if (!IsListenAddress(text)) return;
  CHECK_PROPERTY(text.find_first_of("/\\@~$") == std::string_view::npos);
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return;
  const char drive = text[first];
  const bool isLetter = (drive >= 'a' && drive <= 'z') || (drive >= 'A' && drive <= 'Z');
  if (isLetter && text.substr(first + 1).starts_with(':')) CHECK_PROPERTY(text.find(':') != text.rfind(':'));
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const bool found = !moorlak::FindFileSetting(text).empty();
  const moorlak::Verdict verdict = moorlak::ReadAsEngine(text);
  if (verdict.parsed && verdict.found) CHECK_PROPERTY(found);
  // Texts whose comments can be read in another way are excluded.
  const bool oneReading = text.find("*\n") == std::string_view::npos;
  if (verdict.parsed && verdict.wholeText && oneReading) CHECK_PROPERTY(found == verdict.found);
  moorlak::CheckAddress(text);
  return 0;
}
