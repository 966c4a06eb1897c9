#include "support/text_difference.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace moorlak {
namespace {

using Lines = std::vector<std::string>;

Lines SplitLines(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// common[i][j]: how many lines the longest common subsequence of before[i..] and after[j..] has.
std::vector<std::vector<size_t>> CommonLines(const Lines& before, const Lines& after) {
  std::vector<std::vector<size_t>> common(before.size() + 1, std::vector<size_t>(after.size() + 1));
  for (size_t i = before.size(); i-- > 0;) {
    for (size_t j = after.size(); j-- > 0;) {
      common[i][j] = before[i] == after[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  return common;
}

// Collects the differences and, above them, what they belong to.
class Report {
 public:
  void Add(char mark, const std::string& line) {
    const size_t indent = std::min(line.find_first_not_of(' '), line.size());
    std::erase_if(above, [=](const Heading& heading) { return heading.indent >= indent; });
    if (mark != ' ') {
      for (Heading& heading : above) {
        if (!heading.printed) Print(' ', heading.line);
        heading.printed = true;
      }
      Print(mark, line);
    }
    above.push_back({indent, line, mark != ' '});
  }
  const std::string& Text() const { return text; }

 private:
  struct Heading {
    size_t indent;
    std::string line;
    bool printed;
  };
  void Print(char mark, const std::string& line) { text.append(1, mark).append(line).append(1, '\n'); }

  std::vector<Heading> above;
  std::string text;
};

}  // namespace

std::string Difference(const std::string& before, const std::string& after) {
  const Lines old = SplitLines(before);
  const Lines fresh = SplitLines(after);
  const auto common = CommonLines(old, fresh);
  Report report;
  size_t i = 0;
  size_t j = 0;
  while (i < old.size() || j < fresh.size()) {
    if (i < old.size() && j < fresh.size() && old[i] == fresh[j]) {
      report.Add(' ', old[i++]);
      ++j;
    } else if (i < old.size() && (j == fresh.size() || common[i + 1][j] >= common[i][j + 1])) {
      report.Add('-', old[i++]);
    } else {
      report.Add('+', fresh[j++]);
    }
  }
  return report.Text();
}

std::string TakeSection(std::string& difference, std::string_view heading) {
  const std::string first = ' ' + std::string(heading) + '\n';
  size_t begin = difference.starts_with(first) ? 0 : difference.find('\n' + first);
  if (begin == std::string::npos) return {};
  if (begin != 0) ++begin;
  // The lines of the section have a mark and are indented below it, or have a blank and are indented below that.
  size_t end = begin + first.size();
  while (end + 1 < difference.size() && difference[end + 1] == ' ') end = difference.find('\n', end) + 1;
  std::string section = difference.substr(begin, end - begin);
  difference.erase(begin, end - begin);
  return section;
}

}  // namespace moorlak
