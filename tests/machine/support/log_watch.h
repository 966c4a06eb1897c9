// The tunnel log as a test sees it: everything written since a mark.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak::machine {

// Starts at the current end of the log. Does not survive a rotation; only the log's own tests would need that.
class LogWatch {
 public:
  LogWatch();
  // Messages written since then, without time and line end.
  std::vector<std::string> Messages() const;
  // Waits for a message that equals the text (or, below, contains it).
  bool WaitForMessage(std::string_view text) const;
  bool WaitForMessageWith(std::string_view part) const;
  size_t Count(std::string_view text) const;

 private:
  size_t mark;
};

}  // namespace moorlak::machine
