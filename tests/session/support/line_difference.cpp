#include "session/support/line_difference.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <vector>

namespace moorlak::session {
namespace {

std::vector<std::string> SortedLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::string Missing(const std::vector<std::string>& lines, const std::vector<std::string>& others, const char* mark) {
  std::vector<std::string> missing;
  std::set_difference(lines.begin(), lines.end(), others.begin(), others.end(), std::back_inserter(missing));
  std::string text;
  for (const std::string& line : missing) text += mark + line + "\n";
  return text;
}

}  // namespace

std::string LineDifference(const std::string& before, const std::string& now) {
  const std::vector<std::string> old = SortedLines(before);
  const std::vector<std::string> current = SortedLines(now);
  return Missing(old, current, "- ") + Missing(current, old, "+ ");
}

}  // namespace moorlak::session
