#include "machine/store.h"

#include <windows.h>

#include <atomic>
#include <stdexcept>

#include "base/durable_file.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr wchar_t kFolder[] = L"C:\\moorlak-lab";
constexpr wchar_t kMachinePath[] = L"C:\\moorlak-lab\\machine.json";
constexpr wchar_t kNewMachinePath[] = L"C:\\moorlak-lab\\machine.json.new";
constexpr wchar_t kCallLogPath[] = L"C:\\moorlak-lab\\calls.log";
constexpr wchar_t kHistoryPath[] = L"C:\\moorlak-lab\\history.jsonl";
// Services and programs may run in different sessions, so the name is global.
constexpr wchar_t kMutexName[] = L"Global\\MoorlakLabMachine";
constexpr DWORD kLockPatienceMs = 60000;
constexpr size_t kLargestFile = size_t{256} << 20;

// The thread of this module that holds the lock, 0 for none.
std::atomic<DWORD> lockHolder{0};

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error("lab: " + what + ": error " + std::to_string(GetLastError()));
}

bool Exists(const wchar_t* path) {
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

std::string ReadAll(const wchar_t* path) {
  std::optional<std::string> text = ReadWholeFile(path, kLargestFile);
  if (!text) Fail("cannot read a file of the machine");
  return std::move(*text);
}

void WriteAll(const wchar_t* path, DWORD disposition, DWORD access, const std::string& text) {
  const KernelHandle file(
      CreateFileW(path, access, FILE_SHARE_READ, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file || !WriteWhole(file.Get(), text)) Fail("cannot write a file of the machine");
}

}  // namespace

MachineLock::MachineLock() : mutex(CreateMutexW(nullptr, FALSE, kMutexName)) {
  if (!mutex) Fail("cannot open the machine's mutex");
  Acquire();
}

MachineLock::~MachineLock() {
  if (lockHolder == GetCurrentThreadId()) Release();
}

void MachineLock::Acquire() {
  if (lockHolder == GetCurrentThreadId()) throw std::logic_error("lab: a call within a call");
  const DWORD result = WaitForSingleObject(mutex.Get(), kLockPatienceMs);
  if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED) Fail("cannot lock the machine");
  lockHolder = GetCurrentThreadId();
}

void MachineLock::Release() {
  lockHolder = 0;
  ReleaseMutex(mutex.Get());
}

std::optional<MachineState> LoadMachine() {
  if (!Exists(kMachinePath)) return std::nullopt;
  return FromJson(ReadAll(kMachinePath));
}

void SaveMachine(const MachineState& state) {
  CreateDirectoryW(kFolder, nullptr);
  WriteAll(kNewMachinePath, CREATE_ALWAYS, GENERIC_WRITE, ToJson(state));
  if (!MoveFileExW(kNewMachinePath, kMachinePath, MOVEFILE_REPLACE_EXISTING)) Fail("cannot replace the machine");
}

void AppendToCallLog(const std::string& line) {
  WriteAll(kCallLogPath, OPEN_ALWAYS, FILE_APPEND_DATA, line + "\n");
}

void EmptyCallLog() {
  CreateDirectoryW(kFolder, nullptr);
  WriteAll(kCallLogPath, CREATE_ALWAYS, GENERIC_WRITE, "");
  DeleteFileW(kHistoryPath);
}

std::string ReadCallLogText() {
  return Exists(kCallLogPath) ? ReadAll(kCallLogPath) : "";
}

void AppendToHistory(const std::string& line) {
  WriteAll(kHistoryPath, OPEN_ALWAYS, FILE_APPEND_DATA, line + "\n");
}

std::string ReadHistoryText() {
  return Exists(kHistoryPath) ? ReadAll(kHistoryPath) : "";
}

}  // namespace moorlak::lab
