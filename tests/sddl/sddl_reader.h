// Security descriptors in their text form ("Security Descriptor Definition Language" of Microsoft Learn), read into the
// plain values that the product judges. For tests and the fuzzer; the product reads descriptors as Windows hands them
// out.
#pragma once

#include <optional>
#include <string_view>

#include "base/object_trust.h"

namespace moorlak {

// Owner and access list of the text; what the text does not say (kind, names) is that of an ordinary file with one
// name. Nothing when the text is malformed. An account or a kind of entry that is not known here is read as one that
// cannot be told.
std::optional<ObjectFacts> ReadSddl(std::string_view text);

}  // namespace moorlak
