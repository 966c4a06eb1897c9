#include "unit/config/json_outline.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace moorlak {
namespace {

using Json = nlohmann::json;

// Counts the bytes that the parser has read, whichever copy of the iterator it uses.
struct CountingIterator {
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  const char* position;
  size_t* consumed;

  reference operator*() const { return *position; }
  CountingIterator& operator++() {
    ++position;
    ++*consumed;
    return *this;
  }
  CountingIterator operator++(int) {
    const CountingIterator old = *this;
    ++*this;
    return old;
  }
  bool operator==(const CountingIterator& other) const { return position == other.position; }
  bool operator!=(const CountingIterator& other) const { return position != other.position; }
};

// The parser's events. At each event it has read the event's last byte; after a number it has read one byte more.
class Outliner : public nlohmann::json_sax<Json> {
 public:
  Outliner(std::string_view document, const size_t& bytesRead) : text(document), consumed(bytesRead) {}

  std::vector<OutlineMember> members;

  bool null() override { return Value(consumed); }
  bool boolean(bool) override { return Value(consumed); }
  bool number_integer(number_integer_t) override { return Value(consumed - 1); }
  bool number_unsigned(number_unsigned_t) override { return Value(consumed - 1); }
  bool number_float(number_float_t, const string_t&) override { return Value(consumed - 1); }
  bool string(string_t&) override { return Value(consumed); }
  bool binary(binary_t&) override { return false; }
  bool start_object(size_t) override { return Open(false); }
  bool start_array(size_t) override { return Open(true); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }

  bool key(string_t& name) override {
    Frame& frame = frames.back();
    frame.key = name;
    frame.member = members.size();
    const size_t colon = text.find(':', consumed);
    members.push_back({Path(), text.find('"', lastEnd), text.find_first_not_of(" \t\r\n", colon + 1), 0});
    return true;
  }

  bool parse_error(size_t position, const std::string& token, const nlohmann::detail::exception&) override {
    throw std::runtime_error("no JSON at byte " + std::to_string(position) + ": " + token);
  }

 private:
  struct Frame {
    bool isArray;
    size_t index = 0;
    std::string key;
    size_t member = 0;
  };

  std::string Path() const {
    std::string path;
    for (const Frame& frame : frames) path += '/' + (frame.isArray ? std::to_string(frame.index) : frame.key);
    return path;
  }

  bool Value(size_t end) {
    lastEnd = end;
    if (frames.empty()) return true;
    Frame& frame = frames.back();
    if (frame.isArray) {
      ++frame.index;
    } else {
      members[frame.member].valueEnd = end;
    }
    return true;
  }

  bool Open(bool isArray) {
    frames.push_back({isArray, 0, {}, 0});
    lastEnd = consumed;
    return true;
  }

  bool Close() {
    frames.pop_back();
    return Value(consumed);
  }

  std::string_view text;
  const size_t& consumed;
  size_t lastEnd = 0;
  std::vector<Frame> frames;
};

}  // namespace

std::vector<OutlineMember> OutlineJson(std::string_view text) {
  size_t consumed = 0;
  Outliner outliner(text, consumed);
  Json::sax_parse(CountingIterator{text.data(), &consumed}, CountingIterator{text.data() + text.size(), &consumed},
                  &outliner);
  return outliner.members;
}

const OutlineMember* FindMember(const std::vector<OutlineMember>& outline, std::string_view path) {
  const auto found = std::ranges::find(outline, path, &OutlineMember::path);
  return found == outline.end() ? nullptr : &*found;
}

}  // namespace moorlak
