// The one check of a configuration before an engine sees it.
#pragma once

#include <string_view>

namespace moorlak {

// The text begins like a JSON document: with "{" or "[", behind white space as JSON knows it (RFC 8259).
bool BeginsLikeJson(std::string_view text);

}  // namespace moorlak
