// Where the members of a JSON document stand in its text, told by a JSON parser.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// Byte positions: of the key's first quote, and of the value from its first byte to behind its last.
struct OutlineMember {
  // As "/inbounds/0/port".
  std::string path;
  size_t keyBegin = 0;
  size_t valueBegin = 0;
  size_t valueEnd = 0;
};

// The members of all objects, an object's own member before those inside it. Throws for a text that is no JSON.
std::vector<OutlineMember> OutlineJson(std::string_view text);

// Null when there is none.
const OutlineMember* FindMember(const std::vector<OutlineMember>& outline, std::string_view path);

}  // namespace moorlak
