// The tunnel log as a test sees it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// Everything written since a mark. Does not survive a rotation; only the log's own tests would need that.
class LogWatch {
 public:
  // The mark is the current end of the log.
  LogWatch();
  static LogWatch FromTheBeginning() { return LogWatch(0); }

  // Messages, without time and line end.
  std::vector<std::string> Messages() const;
  // The same as one text, each with a line feed.
  std::string Text() const;
  size_t Count(std::string_view text) const;
  // Waits for a message that equals the text (or, below, contains it).
  bool WaitForMessage(std::string_view text) const;
  bool WaitForMessageWith(std::string_view part) const;

 private:
  explicit LogWatch(size_t begin) : mark(begin) {}
  size_t mark;
};

// The messages of the whole log that contain the text.
std::vector<std::string> LogMessagesWith(std::string_view part);
// Waits until there is one.
bool LogShows(std::string_view part);

}  // namespace moorlak
