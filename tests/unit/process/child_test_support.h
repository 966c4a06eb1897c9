// Shared by the tests that start children: the test child, names, captured standard error, the tunnel log.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/handle.h"
#include "support/log_watch.h"

namespace moorlak {

// Long enough for a loaded machine; a test that waits this long has failed.
inline constexpr DWORD kGenerousMs = 120000;

// test_child.exe next to the test program.
std::wstring TestChildPath();
std::string NarrowTestChildPath();

// Different in each call and each process.
std::string UniqueName(std::string_view prefix);

// A new folder in the temporary folder, with Cyrillic letters and a space in its name; removed at the end.
struct TestFolder {
  TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  ~TestFolder();

  std::wstring path;
  // Full path of a file in it, and the same in UTF-8.
  std::wstring File(const std::wstring& name) const { return path + L"\\" + name; }
  std::string NarrowFile(const std::wstring& name) const;
  void Write(const std::wstring& name, std::string_view content) const;
  // A copy of the test child under another name.
  void AddChild(const std::wstring& name) const;
};

// A mutex that a child takes according to its actions text; it shows from outside whether the child is alive.
struct LifeSign {
  LifeSign();

  std::string mutexName;
  std::string readyName;
  KernelHandle mutex;
  KernelHandle ready;

  // Take the mutex, signal that, sleep forever.
  std::string Actions() const { return "hold=" + mutexName + " signal=" + readyName + " sleep"; }
  // The same, one action per line.
  std::string ActionLines() const { return "hold=" + mutexName + "\nsignal=" + readyName + "\nsleep\n"; }
  bool Started(DWORD withinMs = kGenerousMs) const {
    return WaitForSingleObject(ready.Get(), withinMs) == WAIT_OBJECT_0;
  }
  bool Lives() const { return WaitForSingleObject(mutex.Get(), 0) == WAIT_TIMEOUT; }
  // When the process that holds the mutex ends, the system passes it on as abandoned.
  bool Ends() const { return WaitForSingleObject(mutex.Get(), kGenerousMs) == WAIT_ABANDONED; }
};

// While this lives, this process's standard error goes to a file. The file stays open until the process ends, because
// detached pump threads may still write to it.
struct StandardErrorCapture {
  StandardErrorCapture();
  StandardErrorCapture(const StandardErrorCapture&) = delete;
  StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;
  ~StandardErrorCapture();

  // The text written since this capture began.
  std::string Text() const;
  // True once the text has been written.
  bool Shows(std::string_view text) const;

  HANDLE previous;
  size_t begin;
};

// Replaces a standard stream with another handle while this lives.
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

// Changes this process's current folder while this lives.
struct CurrentFolder {
  explicit CurrentFolder(const std::wstring& folder);
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;
  ~CurrentFolder();

  std::wstring previous;
};

// Reads to the end of the pipe.
std::string ReadToEnd(HANDLE readEnd);

}  // namespace moorlak
