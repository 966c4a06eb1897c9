// The tunnel log as a test sees it: what was written since a mark.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak::machine {

// Starts at the log's end of now. Survives no rotation, which no test here needs but the log's own.
class LogWatch {
 public:
  LogWatch();
  // Messages (without time and line end) written since.
  std::vector<std::string> Messages() const;
  // Waits until a message equals the text, or contains it.
  bool WaitForMessage(std::string_view text) const;
  bool WaitForMessageWith(std::string_view part) const;
  size_t Count(std::string_view text) const;

 private:
  size_t mark;
};

}  // namespace moorlak::machine
