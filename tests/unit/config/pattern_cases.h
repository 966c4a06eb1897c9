// Every expression that defines how a configuration is read, with texts made for it and the scanner that implements it.
#pragma once

#include <string>
#include <vector>

#include "text/text_scan.h"
#include "unit/config/pattern_soup.h"

namespace moorlak {

// Which part of a pattern with a gap contains the capture group.
enum class CapturedIn { Tail, Head };

struct PatternCase {
  std::string name;
  Pattern pattern;
  Soup soup;
  AllMatches scan;
  // The parts of the scan, if the pattern has a gap.
  std::optional<GapPattern> gap = std::nullopt;
  CapturedIn captured = CapturedIn::Tail;
};

inline void PrintTo(const PatternCase& pattern, std::ostream* out) {
  *out << pattern.pattern.expression;
}

const std::vector<PatternCase>& PatternCases();
// The case must exist.
const PatternCase& CaseNamed(const std::string& name);

// Collects the matches of a scanner that returns the first match at or after a position.
AllMatches Iterate(std::function<std::optional<TextMatch>(std::string_view text, size_t from)> find);
// A match across a gap as one match.
TextMatch Whole(const GapMatch& match, CapturedIn captured);

}  // namespace moorlak
