#include "base/standard_error.h"

#include <windows.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

constexpr size_t kThreads = 4;
constexpr size_t kLinesEach = 500;

// Lines of many lengths. Each consists of one letter, which identifies the thread.
std::string Line(size_t thread, size_t index) {
  return std::string(1 + index * 7 % 200, static_cast<char>('a' + thread));
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  EXPECT_EQ(start, text.size()) << "the text ends within a line";
  return lines;
}

TEST(StandardError, LinesOfSeveralThreadsStayWhole) {
  // Not opened for appending: under Wine, writes of several threads through an appending handle are not atomic.
  const TestFolder folder;
  const KernelHandle file(CreateFileW(folder.File(L"stderr").c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(file);
  const ReplacedStream replaced(STD_ERROR_HANDLE, file.Get());
  std::vector<std::thread> threads;
  for (size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (size_t index = 0; index < kLinesEach; ++index) WriteStandardErrorLine(Line(thread, index));
    });
  }
  for (auto& thread : threads) thread.join();
  std::vector<std::string> expected;
  for (size_t thread = 0; thread < kThreads; ++thread) {
    for (size_t index = 0; index < kLinesEach; ++index) expected.push_back(Line(thread, index));
  }
  const KernelHandle reader(CreateFileW(folder.File(L"stderr").c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
  auto lines = SplitLines(ReadToEnd(reader.Get()));
  // Each thread's lines keep their order; lines of different threads may alternate.
  std::stable_sort(lines.begin(), lines.end(), [](const auto& a, const auto& b) { return a.front() < b.front(); });
  EXPECT_EQ(lines, expected);
}

TEST(StandardError, TheTextIsWrittenAsItIs) {
  const StandardErrorCapture capture;
  const std::string text("Сеть\r\n\0\n%s", 14);
  WriteStandardError(text);
  WriteStandardErrorLine("");
  EXPECT_EQ(capture.Text(), text + "\n");
}

TEST(StandardError, WithoutAStreamTheTextIsDropped) {
  const StandardErrorCapture capture;
  for (const HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    const ReplacedStream replaced(STD_ERROR_HANDLE, none);
    WriteStandardErrorLine("nobody reads this");
  }
  EXPECT_EQ(capture.Text(), "");
}

}  // namespace
}  // namespace moorlak
