#include "config/json_beginning.h"

namespace moorlak {

bool BeginsLikeJson(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && (text[first] == '{' || text[first] == '[');
}

}  // namespace moorlak
