#include "machine/support/log_watch.h"

#include <algorithm>

#include "base/paths.h"
#include "machine/support/child.h"
#include "machine/support/wait.h"

namespace moorlak::machine {
namespace {

constexpr size_t kTimeLength = sizeof("2026-01-31 09:05:07 ") - 1;

std::string ReadLog() {
  return ReadSharedFile(kLogFile);
}

}  // namespace

LogWatch::LogWatch() : mark(ReadLog().size()) {}

std::vector<std::string> LogWatch::Messages() const {
  std::vector<std::string> messages;
  const std::string text = ReadLog();
  size_t start = mark;
  for (size_t end = text.find("\r\n", start); end != std::string::npos; end = text.find("\r\n", start)) {
    if (end - start >= kTimeLength) messages.push_back(text.substr(start + kTimeLength, end - start - kTimeLength));
    start = end + 2;
  }
  return messages;
}

bool LogWatch::WaitForMessage(std::string_view text) const {
  return WaitUntil([&] { return Count(text) > 0; });
}

bool LogWatch::WaitForMessageWith(std::string_view part) const {
  return WaitUntil([&] {
    const auto messages = Messages();
    return std::any_of(messages.begin(), messages.end(),
                       [&](const std::string& message) { return message.find(part) != std::string::npos; });
  });
}

size_t LogWatch::Count(std::string_view text) const {
  const auto messages = Messages();
  return static_cast<size_t>(std::count(messages.begin(), messages.end(), text));
}

}  // namespace moorlak::machine
