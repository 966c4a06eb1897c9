#include "text/base_name.h"

namespace moorlak {

std::string_view BaseName(std::string_view path) {
  const size_t separator = path.find_last_of("\\/");
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

}  // namespace moorlak
