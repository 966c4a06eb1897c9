// Shared by the tests that start children: the test child, names, captured standard error, the tunnel log.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/handle.h"

namespace moorlak {

// Long enough for a loaded machine; a test that waits so long has failed.
inline constexpr DWORD kGenerousMs = 120000;

// test_child.exe beside the test program.
std::wstring TestChildPath();
std::string NarrowTestChildPath();

// Differs in each call and each process.
std::string UniqueName(std::string_view prefix);

// A folder of its own below the temporary folder, with Cyrillic letters and a blank in its name; removed at the end.
struct TestFolder {
  TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  ~TestFolder();

  std::wstring path;
  // Full path of a file in it, and the same as UTF-8.
  std::wstring File(const std::wstring& name) const { return path + L"\\" + name; }
  std::string NarrowFile(const std::wstring& name) const;
  void Write(const std::wstring& name, std::string_view content) const;
  // A copy of the test child under another name.
  void AddChild(const std::wstring& name) const;
};

// A mutex that a child takes by the actions text, to tell from outside whether the child lives.
struct LifeSign {
  LifeSign();

  std::string mutexName;
  std::string readyName;
  KernelHandle mutex;
  KernelHandle ready;

  // Take the mutex, tell so, sleep for ever.
  std::string Actions() const { return "hold=" + mutexName + " signal=" + readyName + " sleep"; }
  // The same, one action a line.
  std::string ActionLines() const { return "hold=" + mutexName + "\nsignal=" + readyName + "\nsleep\n"; }
  bool Started(DWORD withinMs = kGenerousMs) const {
    return WaitForSingleObject(ready.Get(), withinMs) == WAIT_OBJECT_0;
  }
  bool Lives() const { return WaitForSingleObject(mutex.Get(), 0) == WAIT_TIMEOUT; }
  // The system hands the mutex over as abandoned when the process that holds it has ended.
  bool Ends() const { return WaitForSingleObject(mutex.Get(), kGenerousMs) == WAIT_ABANDONED; }
};

// While it lives, this process's standard error goes to a file. The file stays open to the end of the process, because
// detached pump threads may still write.
struct StandardErrorCapture {
  StandardErrorCapture();
  StandardErrorCapture(const StandardErrorCapture&) = delete;
  StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;
  ~StandardErrorCapture();

  // What was written since this capture began.
  std::string Text() const;
  // True once the text is there.
  bool Shows(std::string_view text) const;

  HANDLE previous;
  size_t begin;
};

// Puts another handle in the place of a standard stream while it lives.
struct ReplacedStream {
  ReplacedStream(DWORD streamId, HANDLE replacement) : stream(streamId), previous(GetStdHandle(streamId)) {
    SetStdHandle(stream, replacement);
  }
  ReplacedStream(const ReplacedStream&) = delete;
  ReplacedStream& operator=(const ReplacedStream&) = delete;
  ~ReplacedStream() { SetStdHandle(stream, previous); }

  DWORD stream;
  HANDLE previous;
};

// Changes the current folder of this process while it lives.
struct CurrentFolder {
  explicit CurrentFolder(const std::wstring& folder);
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;
  ~CurrentFolder();

  std::wstring previous;
};

// The messages (without their time) of the tunnel log that contain the text.
std::vector<std::string> LogMessagesWith(std::string_view text);
// True once there is such a message.
bool LogShows(std::string_view text);

// Reads to the end of the pipe.
std::string ReadToEnd(HANDLE readEnd);

}  // namespace moorlak
