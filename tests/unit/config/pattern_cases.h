// Every expression that the reading of a configuration is defined by, with texts made for it and the scanner that
// stands for it.
#pragma once

#include <string>
#include <vector>

#include "config/text_scan.h"
#include "unit/config/pattern_soup.h"

namespace moorlak {

// Where a pattern with a gap captures.
enum class CapturedIn { Tail, Head };

struct PatternCase {
  std::string name;
  Pattern pattern;
  Soup soup;
  AllMatches scan;
  // What the scan is made of, when the pattern has a gap.
  std::optional<GapPattern> gap = std::nullopt;
  CapturedIn captured = CapturedIn::Tail;
};

inline void PrintTo(const PatternCase& pattern, std::ostream* out) {
  *out << pattern.pattern.expression;
}

const std::vector<PatternCase>& PatternCases();
// The case must be there.
const PatternCase& CaseNamed(const std::string& name);

// Collects the matches of a scanner that is asked for the first match at or behind a position.
AllMatches Iterate(std::function<std::optional<TextMatch>(std::string_view text, size_t from)> find);
// A match across a gap as one match.
TextMatch Whole(const GapMatch& match, CapturedIn captured);

}  // namespace moorlak
