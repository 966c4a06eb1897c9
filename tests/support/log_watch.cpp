#include "support/log_watch.h"

#include <algorithm>

#include "base/paths.h"
#include "support/files.h"
#include "support/wait.h"

namespace moorlak {
namespace {

constexpr size_t kTimeLength = sizeof("2026-01-31 09:05:07 ") - 1;

}  // namespace

LogWatch::LogWatch() : mark(ReadSharedFile(kLogFile).size()) {}

std::vector<std::string> LogWatch::Messages() const {
  std::vector<std::string> messages;
  const std::string text = ReadSharedFile(kLogFile);
  size_t start = mark;
  for (size_t end = text.find("\r\n", start); end != std::string::npos; end = text.find("\r\n", start)) {
    if (end - start >= kTimeLength) messages.push_back(text.substr(start + kTimeLength, end - start - kTimeLength));
    start = end + 2;
  }
  return messages;
}

std::string LogWatch::Text() const {
  std::string text;
  for (const std::string& message : Messages()) text += message + "\n";
  return text;
}

size_t LogWatch::Count(std::string_view text) const {
  return static_cast<size_t>(std::ranges::count(Messages(), text));
}

bool LogWatch::WaitForMessage(std::string_view text) const {
  return WaitUntil([&] { return Count(text) > 0; });
}

bool LogWatch::WaitForMessageWith(std::string_view part) const {
  return WaitUntil([&] {
    return std::ranges::any_of(Messages(),
                               [&](const std::string& message) { return message.find(part) != std::string::npos; });
  });
}

std::vector<std::string> LogMessagesWith(std::string_view part) {
  std::vector<std::string> messages = LogWatch::FromTheBeginning().Messages();
  std::erase_if(messages, [&](const std::string& message) { return message.find(part) == std::string::npos; });
  return messages;
}

bool LogShows(std::string_view part) {
  return LogWatch::FromTheBeginning().WaitForMessageWith(part);
}

}  // namespace moorlak
