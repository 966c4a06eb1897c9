// The only check of a configuration before an engine sees it.
#pragma once

#include <string_view>

namespace moorlak {

// Whether the text begins like a JSON document: with "{" or "[", after JSON white space (RFC 8259).
bool BeginsLikeJson(std::string_view text);

}  // namespace moorlak
