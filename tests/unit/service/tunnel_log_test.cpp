#include "service/tunnel_log.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "base/data_files.h"
#include "base/durable_file.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/paths.h"
#include "base/trust.h"
#include "base/utf.h"
#include "unit/base/held_file.h"
#include "unit/process/child_test_support.h"

extern "C" {
extern decltype(&::WaitForSingleObject) __imp_WaitForSingleObject;
}

namespace moorlak {
namespace {

constexpr size_t kAnySize = 64u << 20;

std::string ReadLog() {
  return ReadWholeFile(kLogFile, kAnySize).value_or("");
}

std::vector<std::string> LogLines() {
  std::vector<std::string> lines;
  const std::string text = ReadLog();
  size_t start = 0;
  for (size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", start)) {
    lines.push_back(text.substr(start, end - start));
    start = end + 2;
  }
  EXPECT_EQ(start, text.size()) << "the log ends within a line";
  return lines;
}

// Frees the name at once. This process has the file open, so a plain deletion would keep the name until the last handle
// is closed.
void RemoveOpenFile(const wchar_t* path) {
  const std::wstring gone = std::wstring(path) + L".gone" + std::to_wstring(GetTickCount64());
  if (MoveFileExW(path, gone.c_str(), MOVEFILE_REPLACE_EXISTING)) DeleteFileW(gone.c_str());
}

class TunnelLog : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(LogFolder(), nullptr);
    RemoveOpenFile(kLogFile);
    RemoveOpenFile(kRotatedLogFile);
    std::filesystem::remove(kSupportNoteFile);
  }
};

void MakeLogOfSize(size_t bytes) {
  std::ofstream(std::filesystem::path(kLogFile), std::ios::binary) << std::string(bytes, 'x');
}

TEST_F(TunnelLog, WritesOneLineWithItsTime) {
  WriteLogLine("first — line");
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 1u);
  ASSERT_GT(lines[0].size(), 20u);
  EXPECT_EQ(lines[0].substr(20), "first — line");
  EXPECT_EQ(lines[0][4], '-');
  EXPECT_EQ(lines[0][10], ' ');
  EXPECT_EQ(lines[0][13], ':');
  EXPECT_EQ(lines[0][19], ' ');
}

TEST_F(TunnelLog, KeepsALogOfExactlyFiveMebibytes) {
  MakeLogOfSize(5'242'880);
  WriteLogLine("appended");
  EXPECT_GT(std::filesystem::file_size(kLogFile), 5'242'880u);
  EXPECT_FALSE(std::filesystem::exists(kRotatedLogFile));
}

TEST_F(TunnelLog, RotatesALogOneByteLargerAtTheNextLine) {
  MakeLogOfSize(5'242'881);
  WriteLogLine("fresh");
  EXPECT_EQ(std::filesystem::file_size(kRotatedLogFile), 5'242'881u);
  EXPECT_EQ(LogLines().size(), 1u);
}

TEST_F(TunnelLog, KeepsOneRotatedGeneration) {
  MakeLogOfSize(5'242'881);
  WriteLogLine("first rotation");
  MakeLogOfSize(5'300'000);
  WriteLogLine("second rotation");
  EXPECT_EQ(std::filesystem::file_size(kRotatedLogFile), 5'300'000u);
}

TEST_F(TunnelLog, RecreatesAMissingFileAtTheNextLine) {
  WriteLogLine("before");
  RemoveOpenFile(kLogFile);
  WriteLogLine("after");
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].substr(20), "after");
}

TEST_F(TunnelLog, ItsFolderCannotBeTakenAwayWhileTheProcessLives) {
  WriteLogLine("a line");
  EXPECT_FALSE(MoveFileW(kLogFolder, L"C:\\ProgramData\\Moorlak\\elsewhere"));
  EXPECT_FALSE(MoveFileW(kDataFolder, L"C:\\ProgramData\\elsewhere"));
}

TEST_F(TunnelLog, DropsTheLineWhenTheLogCannotBeOpened) {
  WriteLogLine("first");
  {
    const HeldFile reader(kLogFile, FILE_SHARE_READ | FILE_SHARE_DELETE);
    WriteLogLine("nowhere to go");
  }
  WriteLogLine("third");
  EXPECT_EQ(LogLines().size(), 2u);
}

// Starts a program that takes the log's mutex, and ends it the way a crash would.
void CrashAWriter() {
  const LifeSign sign;
  std::wstring command =
      L"\"" + TestChildPath() + L"\" hold=" + kLogMutexName + L" signal=" + WidenUtf8(sign.readyName) + L" sleep";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  ASSERT_TRUE(
      CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started));
  const KernelHandle thread(started.hThread);
  const KernelHandle process(started.hProcess);
  ASSERT_TRUE(sign.Started());
  ASSERT_TRUE(TerminateProcess(process.Get(), 1));
  ASSERT_EQ(WaitForSingleObject(process.Get(), kGenerousMs), WAIT_OBJECT_0);
}

// Checked from another thread: the owning thread's own wait would succeed in any case.
DWORD StateOf(const KernelHandle& mutex) {
  DWORD state = WAIT_FAILED;
  std::thread([&] {
    state = WaitForSingleObject(mutex.Get(), 0);
    if (state != WAIT_TIMEOUT) ReleaseMutex(mutex.Get());
  }).join();
  return state;
}

TEST_F(TunnelLog, TakesAnAbandonedMutexAsHeld) {
  // The handle kept open here preserves the mutex, and so its abandoned state.
  const KernelHandle mutex(CreateMutexW(nullptr, FALSE, kLogMutexName));
  ASSERT_NO_FATAL_FAILURE(CrashAWriter());
  WriteLogLine("after the crash of a writer");
  EXPECT_EQ(LogLines().size(), 1u);
  // The writer took the mutex and released it: it is no longer abandoned and has no owner.
  EXPECT_EQ(StateOf(mutex), WAIT_OBJECT_0);
}

TEST_F(TunnelLog, WaitsForAnotherWriter) {
  const auto descriptor = OwnedDescriptor(L"D:(A;;GA;;;SY)(A;;GA;;;BA)");
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  const KernelHandle mutex(CreateMutexW(&attributes, TRUE, kLogMutexName));
  const KernelHandle finished(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  std::thread writer([&] {
    WriteLogLine("second");
    SetEvent(finished.Get());
  });
  EXPECT_EQ(WaitForSingleObject(finished.Get(), 50), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_FALSE(std::filesystem::exists(kLogFile));
  ReleaseMutex(mutex.Get());
  writer.join();
  EXPECT_EQ(LogLines().size(), 1u);
}

struct WaitRecord {
  DWORD thread = 0;
  decltype(&::WaitForSingleObject) system = nullptr;
  std::vector<DWORD> waits;
};

// Never destroyed: another thread may still be inside RecordedWaits::Call when the program ends.
WaitRecord& waitRecord = *new WaitRecord;

// Records for how long this thread would wait, without waiting. Waits without an end are left alone: they are the
// thread library's, for its own locks. For the same reason nothing in Call may take a lock, not even the one of a
// static variable that is initialised by its first use.
class RecordedWaits {
 public:
  RecordedWaits() : replaced(Prepare(), Call) {}
  static const std::vector<DWORD>& Noted() { return waitRecord.waits; }

 private:
  static decltype(&::WaitForSingleObject)& Prepare() {
    waitRecord = {GetCurrentThreadId(), __imp_WaitForSingleObject, {}};
    return __imp_WaitForSingleObject;
  }
  static DWORD WINAPI Call(HANDLE object, DWORD milliseconds) {
    if (milliseconds == INFINITE || GetCurrentThreadId() != waitRecord.thread) {
      return waitRecord.system(object, milliseconds);
    }
    waitRecord.waits.push_back(milliseconds);
    return waitRecord.system(object, 0);
  }
  ReplacedImport<decltype(&::WaitForSingleObject)> replaced;
};

TEST_F(TunnelLog, DoesNotWaitForEverForAWriterOfItsOwn) {
  const auto descriptor = OwnedDescriptor(L"D:(A;;GA;;;SY)(A;;GA;;;BA)");
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  const KernelHandle mutex(CreateMutexW(&attributes, TRUE, kLogMutexName));
  std::vector<DWORD> waits;
  std::thread([&] {
    const RecordedWaits noted;
    WriteLogLine("written without it");
    WriteLogLine("and the next one does not wait again");
    waits = RecordedWaits::Noted();
  }).join();
  EXPECT_EQ(waits, (std::vector<DWORD>{0, 10'000, 0}));
  EXPECT_EQ(LogLines().size(), 2u);
  ReleaseMutex(mutex.Get());
  // Once the mutex has been free, writers wait for it again.
  WriteLogLine("with it");
  const KernelHandle again(CreateMutexW(&attributes, TRUE, kLogMutexName));
  ASSERT_EQ(WaitForSingleObject(again.Get(), 0), WAIT_OBJECT_0);
  std::thread([&] {
    const RecordedWaits noted;
    WriteLogLine("without it");
    waits = RecordedWaits::Noted();
  }).join();
  EXPECT_EQ(waits, (std::vector<DWORD>{0, 10'000}));
  ReleaseMutex(again.Get());
  WriteLogLine("with it");
}

TEST_F(TunnelLog, IsNotRotatedByWhoDoesNotHoldTheMutex) {
  MakeLogOfSize(5'242'881);
  const KernelHandle mutex(CreateMutexW(nullptr, TRUE, kLogMutexName));
  std::thread([] { WriteLogLine("appended"); }).join();
  EXPECT_FALSE(std::filesystem::exists(kRotatedLogFile));
  ReleaseMutex(mutex.Get());
  WriteLogLine("fresh");
  EXPECT_TRUE(std::filesystem::exists(kRotatedLogFile));
  EXPECT_EQ(LogLines().size(), 1u);
}

// An object created without a descriptor has no owner here, so it is not trusted.
TEST_F(TunnelLog, DoesNotWaitForAStrangerWhoHoldsTheMutex) {
  const KernelHandle mutex(CreateMutexW(nullptr, TRUE, kLogMutexName));
  std::thread([] { WriteLogLine("written all the same"); }).join();
  EXPECT_EQ(LogLines().size(), 1u);
  ReleaseMutex(mutex.Get());
}

TEST_F(TunnelLog, DoesNotMixTheLinesOfManyThreads) {
  std::vector<std::thread> writers;
  for (char name = 'a'; name < 'e'; ++name) {
    writers.emplace_back([name] {
      for (int i = 0; i < 50; ++i) WriteLogLine(std::string(200, name));
    });
  }
  for (auto& writer : writers) writer.join();
  const auto lines = LogLines();
  EXPECT_EQ(lines.size(), 200u);
  for (const auto& line : lines) {
    const std::string message = line.substr(20);
    EXPECT_EQ(message, std::string(200, message[0]));
  }
}

TEST_F(TunnelLog, CanBeReadAndDeletedWhileItIsWritten) {
  WriteLogLine("one");
  const KernelHandle reader(CreateFileW(kLogFile, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(reader);
  WriteLogLine("two");
  EXPECT_EQ(LogLines().size(), 2u);
}

TEST_F(TunnelLog, OpensASessionWithNoteBannerAndSupportLine) {
  WriteSessionBanner("tunnel_service");
  EXPECT_EQ(ReadWholeFile(kSupportNoteFile, kAnySize), SupportNoteText());
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].substr(20), BannerLine("tunnel_service", OsVersionText(), GetCurrentProcessId()));
  EXPECT_EQ(lines[1].substr(20), SupportLine());
}

TEST_F(TunnelLog, NeverRewritesAnExistingSupportNote) {
  std::ofstream(std::filesystem::path(kSupportNoteFile), std::ios::binary) << "mine";
  WriteSessionBanner("tunnel_service");
  EXPECT_EQ(ReadWholeFile(kSupportNoteFile, kAnySize), "mine");
}

TEST(OsVersion, NamesMajorMinorAndBuild) {
  const std::string text = OsVersionText();
  EXPECT_TRUE(text.starts_with("Windows 10.0.")) << text;
}

}  // namespace
}  // namespace moorlak
