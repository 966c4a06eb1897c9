// Lines that a test's own actions added to the tunnel log.
#pragma once

#include <string>

#include "base/durable_file.h"
#include "base/paths.h"

namespace moorlak {

// Remembers the log's end at construction.
class LogTail {
 public:
  LogTail() : begin(WholeLog().size()) {}
  // The messages since then without their times, each with a line feed.
  std::string Messages() const {
    constexpr size_t kTimeLength = sizeof("2000-01-01 00:00:00 ") - 1;
    const std::string log = WholeLog();
    std::string messages;
    for (size_t line = begin; line < log.size();) {
      const size_t end = log.find("\r\n", line);
      if (end == std::string::npos) break;
      if (end - line >= kTimeLength) messages += log.substr(line + kTimeLength, end - line - kTimeLength) + "\n";
      line = end + 2;
    }
    return messages;
  }

 private:
  static std::string WholeLog() { return ReadWholeFile(kLogFile, 16u << 20).value_or(""); }

  size_t begin;
};

}  // namespace moorlak
