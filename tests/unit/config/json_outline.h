// The positions of a JSON document's members in its text, according to a JSON parser.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// Byte positions: the key's first quote, and the value from its first byte to the byte after its last.
struct OutlineMember {
  // For example "/inbounds/0/port".
  std::string path;
  size_t keyBegin = 0;
  size_t valueBegin = 0;
  size_t valueEnd = 0;
};

// The members of all objects, each before the members inside it. Throws if the text is not JSON.
std::vector<OutlineMember> OutlineJson(std::string_view text);

// Null if there is none.
const OutlineMember* FindMember(const std::vector<OutlineMember>& outline, std::string_view path);

}  // namespace moorlak
