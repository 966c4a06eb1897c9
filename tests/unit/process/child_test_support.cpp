#include "unit/process/child_test_support.h"

#include <atomic>
#include <filesystem>
#include <functional>

#include "base/durable_file.h"
#include "base/paths.h"
#include "base/utf.h"
#include "support/files.h"
#include "support/wait.h"

namespace moorlak {
namespace {

std::wstring TemporaryPath(std::string_view name) {
  return (std::filesystem::temp_directory_path() / WidenUtf8(UniqueName(name))).wstring();
}

// Not opened for appending: Wine then looks up the end of the file and writes there in two calls, so that two pump
// threads may write over each other. At the file position, which the threads and the children share, one write follows
// the other.
struct CaptureFile {
  std::wstring path = TemporaryPath("stderr");
  HANDLE handle = CreateFileW(path.c_str(), FILE_WRITE_DATA | DELETE | SYNCHRONIZE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
};

const CaptureFile& Capture() {
  static const CaptureFile file;
  return file;
}

}  // namespace

std::wstring TestChildPath() {
  return ExecutableFolder() + L"\\test_child.exe";
}

std::string NarrowTestChildPath() {
  return NarrowUtf16(TestChildPath());
}

std::string UniqueName(std::string_view prefix) {
  static std::atomic<unsigned> counter{0};
  return std::string(prefix) + "-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(GetTickCount64()) +
         "-" + std::to_string(++counter);
}

TestFolder::TestFolder() : path(TemporaryPath("Папка теста")) {
  std::filesystem::create_directories(path);
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::string TestFolder::NarrowFile(const std::wstring& name) const {
  return NarrowUtf16(File(name));
}

void TestFolder::Write(const std::wstring& name, std::string_view content) const {
  if (!WriteFileDurably(File(name), content)) throw std::runtime_error("cannot write " + NarrowFile(name));
}

void TestFolder::AddChild(const std::wstring& name) const {
  std::filesystem::copy_file(TestChildPath(), File(name));
}

LifeSign::LifeSign()
    : mutexName(UniqueName("Local\\life")),
      readyName(UniqueName("Local\\ready")),
      mutex(CreateMutexW(nullptr, FALSE, WidenUtf8(mutexName).c_str())),
      ready(CreateEventW(nullptr, TRUE, FALSE, WidenUtf8(readyName).c_str())) {}

CurrentFolder::CurrentFolder(const std::wstring& folder) : previous(std::filesystem::current_path().wstring()) {
  std::filesystem::current_path(folder);
}

CurrentFolder::~CurrentFolder() {
  std::error_code ignored;
  std::filesystem::current_path(previous, ignored);
}

StandardErrorCapture::StandardErrorCapture()
    : previous(GetStdHandle(STD_ERROR_HANDLE)), begin(ReadSharedFile(Capture().path).size()) {
  SetStdHandle(STD_ERROR_HANDLE, Capture().handle);
}

StandardErrorCapture::~StandardErrorCapture() {
  SetStdHandle(STD_ERROR_HANDLE, previous);
}

std::string StandardErrorCapture::Text() const {
  return ReadSharedFile(Capture().path).substr(begin);
}

bool StandardErrorCapture::Shows(std::string_view text) const {
  return WaitUntil([&] { return Text().find(text) != std::string::npos; });
}

std::string ReadToEnd(HANDLE readEnd) {
  std::string text;
  char chunk[4096];
  DWORD got = 0;
  while (ReadFile(readEnd, chunk, sizeof(chunk), &got, nullptr) && got > 0) text.append(chunk, got);
  return text;
}

}  // namespace moorlak
