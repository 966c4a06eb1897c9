// Configuration texts for measuring the rewriting.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace moorlak::bench {

inline constexpr size_t kKiB = size_t{1} << 10;
inline constexpr size_t kMiB = size_t{1} << 20;

enum class MetaPlace { First, Last };

// A configuration as the user interface sends it, in an encoder's compact form: metadata, log, name servers, inbounds,
// outbounds with TLS settings, and routing rules whose lists of domains and subnets fill the text up to about that
// size. Valid JSON.
std::string RealisticConfig(size_t size, MetaPlace metaPlace);

struct HostileText {
  const char* name;
  std::string text;
};

// Texts of that size with which a scanner that backtracks, recurses or starts over would practically never finish.
std::vector<HostileText> HostileTexts(size_t size);

}  // namespace moorlak::bench
