// Reads security descriptors in text form ("Security Descriptor Definition Language" on Microsoft Learn) into the plain
// values that the product checks. For tests and the fuzzer; the product reads the descriptors that Windows returns.
#pragma once

#include <optional>
#include <string_view>

#include "base/object_trust.h"

namespace moorlak {

// Owner and access list of the text. Facts that the text does not contain (kind, names) are those of an ordinary file
// with one name. nullopt if the text is malformed. An unknown account or kind of entry is read as undeterminable.
std::optional<ObjectFacts> ReadSddl(std::string_view text);

}  // namespace moorlak
